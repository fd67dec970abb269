#pragma once

#include <QDBusMessage>
#include <QVector>

/// The calls that a fake received, in order.
using RecordedCalls = QVector<QDBusMessage>;

/// Their members, in order.
inline QStringList membersOf(const RecordedCalls &calls)
{
    QStringList members;
    for (const QDBusMessage &call : calls)
        members.append(call.member());
    return members;
}

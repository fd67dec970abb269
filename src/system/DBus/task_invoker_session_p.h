#pragma once

#include "common/DBus/types.h"

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QVector>

namespace DBus {

class TaskInvokerSession;

class TaskInvokerSessionPrivate : public QObject
{
    Q_OBJECT

public:
    TaskInvokerSessionPrivate(const QString &type, TaskInvokerSession *session);

    void rebuildActiveTasks();

    QDBusConnection connection;
    const QString taskType;
    QVector<Orvane::ActiveTask> activeTasks;
    /// Of the running tasks that they were made of; none run at 0.
    quint64 activeTasksRevision = 0;
    TaskInvokerSession *const q;
};

} // namespace DBus

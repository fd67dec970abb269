#pragma once

#include "fakes/recorded_call.h"

#include <QDBusConnection>
#include <QDBusVirtualObject>

#include <functional>

/// The per-user service: answers every call below /org/zarn/Orvane with its own arguments unless
/// told otherwise.
class FakeUserService : public QDBusVirtualObject
{
    Q_OBJECT

public:
    /// Claims the service's name on the connection.
    explicit FakeUserService(const QDBusConnection &bus, QObject *parent = nullptr);
    ~FakeUserService() override;

    RecordedCalls calls;
    /// Keeps every call unanswered until release().
    bool hangs = false;
    /// Makes the answer to a call; the default sends its arguments back.
    std::function<QDBusMessage(const QDBusMessage &)> answer;

    /// Answers everything that was kept, in order, and hangs no longer.
    void release();
    void emitChange(const QString &path, const QString &interface, const QVariantMap &changed,
                    const QStringList &invalidated);

    QString introspect(const QString &path) const override;
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;

private:
    QDBusConnection m_bus;
    int m_answered = 0;
};

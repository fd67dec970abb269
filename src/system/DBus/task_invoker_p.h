#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QHash>
#include <QList>

namespace DBus {

class TaskInvoker;
class TaskInvokerSession;

/// The bookkeeping of sessions and clients; watches the bus for clients that leave.
class TaskInvokerPrivate : public QDBusServiceWatcher
{
    Q_OBJECT

public:
    explicit TaskInvokerPrivate(TaskInvoker *invoker);

    [[nodiscard]] TaskInvokerSession *sessionFor(const QString &taskType);
    void exportSession(TaskInvokerSession *session);
    void createSessionProxy(const QString &taskType);
    void registerSessionProxy(const QDBusConnection &connection, const QDBusMessage &message,
                              const QString &path);
    /// What serves the session of the per-user service at a path, made when there is nothing; null
    /// when it cannot be exported.
    [[nodiscard]] QObject *sessionProxyAt(QDBusConnection bus, const QString &path);
    void registerClient(const QString &busName, QObject *object);
    void watchClient(const QString &busName);
    void forgetClient(const QString &busName);
    /// Frees the object's path and deletes the object once the current event is handled.
    void forgetObject(QObject *object, const QString &path);

    /// By task type.
    QHash<QString, TaskInvokerSession *> sessions;
    /// What each client holds, by its bus name.
    QHash<QString, QList<QObject *>> clients;
    TaskInvoker *const q;
};

} // namespace DBus

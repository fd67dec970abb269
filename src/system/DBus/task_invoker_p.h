#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QHash>
#include <QList>
#include <QObject>

#include <optional>

namespace DBus {

class TaskInvoker;
class TaskInvokerSession;

/// Keeps track of sessions and clients, and of clients that leave the bus.
class TaskInvokerPrivate : public QObject
{
    Q_OBJECT

public:
    explicit TaskInvokerPrivate(TaskInvoker *invoker);

    [[nodiscard]] TaskInvokerSession *sessionFor(const QString &taskType);
    void exportSession(TaskInvokerSession *session);
    void createSessionProxy(const QString &taskType);
    /// Answers the client's call with the answer of the per-user service.
    void finishRegistration(const QDBusConnection &connection, const QDBusMessage &request,
                            const QDBusMessage &reply);
    void registerSessionProxy(const QDBusConnection &connection, const QDBusMessage &message,
                              const QString &path);
    /// The proxy for a session of the per-user service at a path, created if necessary; null when
    /// it cannot be exported.
    [[nodiscard]] QObject *sessionProxyAt(const QString &path);
    /// Whether a client holds this daemon's session of a type.
    [[nodiscard]] bool holdsSession(const QString &busName, const QString &taskType) const;
    /// Whether the limits allow that a client holds one more object. Always true for an object that
    /// it already holds.
    /// @param object null for an object that does not exist yet.
    [[nodiscard]] bool mayHold(const QString &busName, QObject *object) const;
    /// Records that a client holds an object. Ignores a client that has left.
    /// @param object null when the client holds nothing but counts until it leaves.
    void registerClient(const QString &busName, QObject *object);
    /// The same for a client of an earlier run, which may have left since.
    void restoreClient(const QString &busName, QObject *object);
    void forgetClient(const QString &busName);
    /// Removes the object from all clients, and then removes the object itself.
    void forgetObject(QObject *object, const QString &path);
    /// Removes a proxy that no client holds. Otherwise proxies would accumulate, because the
    /// per-user service may use any number of paths.
    void removeUnusedProxy(QObject *object);
    /// Unregisters the object at once, and deletes it later from the event loop.
    void removeObject(QObject *object, const QString &path);

    QDBusConnection bus;
    /// By task type.
    QHash<QString, TaskInvokerSession *> sessions;
    struct Client
    {
        /// The client's user; unknown for a client of an earlier run.
        std::optional<uint> user;
        QList<QObject *> objects;
        /// Whether the client counts until it leaves, even when it holds nothing.
        bool countsUntilItLeaves = false;

        void add(QObject *object);
    };
    /// The client's entry, created if necessary.
    Client &entryOf(const QString &busName, std::optional<uint> user);

    /// By bus name.
    QHash<QString, Client> clients;
    TaskInvoker *const q;
};

} // namespace DBus

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

/// The bookkeeping of sessions and clients; hears of clients that leave the bus.
class TaskInvokerPrivate : public QObject
{
    Q_OBJECT

public:
    explicit TaskInvokerPrivate(TaskInvoker *invoker);

    [[nodiscard]] TaskInvokerSession *sessionFor(const QString &taskType);
    void exportSession(TaskInvokerSession *session);
    void createSessionProxy(const QString &taskType);
    /// Answers the client's call with what the per-user service answered.
    void finishRegistration(const QDBusConnection &connection, const QDBusMessage &request,
                            const QDBusMessage &reply);
    void registerSessionProxy(const QDBusConnection &connection, const QDBusMessage &message,
                              const QString &path);
    /// What serves the session of the per-user service at a path, made when there is nothing; null
    /// when it cannot be exported.
    [[nodiscard]] QObject *sessionProxyAt(const QString &path);
    /// Whether a client holds the session of a type that this daemon serves.
    [[nodiscard]] bool holdsSession(const QString &busName, const QString &taskType) const;
    /// Whether the limits allow it. Always true for an object that the client already holds. Null:
    /// an object that does not exist yet.
    [[nodiscard]] bool mayHold(const QString &busName, QObject *object) const;
    /// Has a client hold an object from now on. A client that has left by now holds nothing.
    /// @param object null for a client that holds nothing and counts all the same until it leaves.
    void registerClient(const QString &busName, QObject *object);
    /// The same for a client of an earlier run, which may have left in between.
    void restoreClient(const QString &busName, QObject *object);
    void forgetClient(const QString &busName);
    /// Has no client hold the object any more, and removes it.
    void forgetObject(QObject *object, const QString &path);
    /// Removes a proxy that no client holds: the paths of the per-user service are without number.
    void dropProxyOfNobody(QObject *object);
    /// Frees the object's path and deletes the object once the current event is handled.
    void removeObject(QObject *object, const QString &path);

    QDBusConnection bus;
    /// By task type.
    QHash<QString, TaskInvokerSession *> sessions;
    struct Client
    {
        /// Unknown for a client of an earlier run.
        std::optional<uint> user;
        QList<QObject *> objects;
        /// Counts until it leaves, even when it holds nothing.
        bool staysUntilItLeaves = false;

        void add(QObject *object);
    };
    /// The client's entry, made when there is none.
    Client &entryOf(const QString &busName, std::optional<uint> user);

    /// By bus name.
    QHash<QString, Client> clients;
    TaskInvoker *const q;
};

} // namespace DBus

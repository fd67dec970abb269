#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QHash>
#include <QObject>
#include <QString>

#include <deque>
#include <functional>
#include <memory>
#include <optional>

class QDBusPendingCallWatcher;

namespace DBus {

/// Calls to another service on behalf of clients. The bus allows a connection 128 outstanding
/// replies, so the number of unanswered calls is limited and the other calls wait in a queue.
/// Clients take turns, and limits for each client and each user ensure that nobody can block the
/// others. The calls of one client are sent in order. Event-loop thread only.
class ClientCalls : public QObject
{
    Q_OBJECT

public:
    /// Receives the finished call. Never runs inside call(), and not at all if the client left
    /// while the call was in flight.
    using Callback = std::function<void(QDBusPendingCallWatcher *)>;
    /// Finds the user id of a client by its unique bus name; nothing when the client has left.
    using UserLookup = std::function<std::optional<uint>(const QString &)>;

    /// Limits for all clients together, for one user and for one client. The limit for one user
    /// does not apply to root.
    struct Share
    {
        int all;
        int user;
        int client;
    };
    struct Limits
    {
        /// Calls that have been sent and are not answered.
        Share inFlight;
        /// Calls that wait in the queue.
        Share waiting;
        /// Bytes of all these calls.
        Share bytes;
        /// File descriptors of all these calls.
        Share descriptors;
    };
    /// Whether and why a call was refused.
    enum Refusal {
        Taken,
        /// A limit is reached, or the message is too large for the bus.
        TooMuch,
        /// The message has file descriptors inside other values, or an empty signature, which
        /// cannot be passed on.
        CannotBeSentOn
    };

    /// What becomes of a call that still waits when its client leaves.
    enum WhenClientLeaves {
        DropWaiting,
        /// For a call that wants no answer: its client leaves without waiting for it to be sent.
        SendNevertheless
    };
    struct Request
    {
        /// Its arguments are dropped once it has been sent.
        QDBusMessage message;
        /// How long to wait for the answer after sending, in milliseconds; -1 for the bus library's
        /// default.
        int timeoutMs;
        Callback callback;
        WhenClientLeaves whenClientLeaves = DropWaiting;
    };

    /// @param bus the connection to send on.
    /// @param userOf finds the user of a client.
    ClientCalls(const QDBusConnection &bus, UserLookup userOf, const Limits &limits,
                QObject *parent = nullptr);
    ~ClientCalls() override;

    /// Queues a call, and sends it at once if the limits allow it.
    /// @param client unique bus name of the client. Those that have left already share the limits
    /// of one client.
    /// @return Taken if the call was queued; otherwise why not, and the callback never runs.
    [[nodiscard]] Refusal call(const QString &client, const Request &request);
    /// Removes those waiting calls of a client that has left that are not to be sent nevertheless,
    /// and the callbacks of its calls that were sent.
    void forgetClient(const QString &client);

private:
    /// How much all clients, one user or one client use; or a change of that.
    struct Usage
    {
        int inFlight = 0;
        int waiting = 0;
        qint64 bytes = 0;
        int descriptors = 0;

        Usage &operator+=(const Usage &change);
    };
    struct Call
    {
        Request request;
        /// What the call uses while it waits. Its bytes and descriptors also count while it is in
        /// flight.
        Usage usage;
    };
    struct Client
    {
        uint user;
        Usage usage;
        std::deque<Call> waiting;
        /// Callbacks of the calls in flight, by number; those that were sent before the client left
        /// are removed then.
        QHash<quint64, Callback> callbacks;
    };

    [[nodiscard]] bool hasRoom(const Client &client, const Usage &call) const;
    [[nodiscard]] bool maySend(const Client &client) const;
    void count(Client &client, const Usage &change);
    void sendWaiting();
    void sendNext(const QString &name, Client &client);
    void finish(const QString &name, quint64 number, const Usage &usage,
                QDBusPendingCallWatcher *finished);
    void dropIfUnused(const QString &name);

    QDBusConnection m_bus;
    const UserLookup m_userOf;
    const Limits m_limits;
    Usage m_all;
    QHash<uint, Usage> m_users;
    QHash<QString, std::shared_ptr<Client>> m_byName;
    /// Clients that have waiting calls, in the order of their turns.
    std::deque<QString> m_turns;
    quint64 m_lastNumber = 0;
};

} // namespace DBus

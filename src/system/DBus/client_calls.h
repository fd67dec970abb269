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

/// Calls that are made to another service on behalf of clients. The bus allows a connection 128
/// outstanding replies in all, so a bounded number of calls is unanswered at a time and the others
/// wait here. Clients take turns, and nobody can fill the places of all: there is a share for one
/// client and one for one user. Calls of one client are sent in the order in which they were made.
/// Event-loop thread only.
class ClientCalls : public QObject
{
    Q_OBJECT

public:
    /// Looks at the finished call. Never runs inside call(), and not at all when the client has
    /// left by then.
    using Callback = std::function<void(QDBusPendingCallWatcher *)>;
    /// The user id of a client, by its unique bus name; nothing when it has left.
    using UserLookup = std::function<std::optional<uint>(const QString &)>;

    /// How much of everything may be kept for all clients, for one user and for one client. Root
    /// has no share of its own: it may take what there is.
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
        /// Calls that wait for their turn.
        Share waiting;
        /// Bytes of both kinds.
        Share bytes;
        /// File descriptors of both kinds.
        Share descriptors;
    };
    /// Why a call was not taken.
    enum Refusal {
        Taken,
        /// A share is used up, or the message is too large for the bus.
        TooMuch,
        /// It carries file descriptors inside other values, or a signature without types, which
        /// cannot be sent on.
        CannotBeSentOn
    };

    ClientCalls(const QDBusConnection &bus, UserLookup userOf, const Limits &limits,
                QObject *parent = nullptr);
    ~ClientCalls() override;

    /// Queues a call. Its arguments are dropped once it has been sent.
    /// @param client unique bus name of the client.
    /// @param timeoutMs how long to wait for the answer once sent, in milliseconds; -1 is the bus
    ///     library's default.
    /// @return why the call is not taken and the callback never runs, or Taken.
    [[nodiscard]] Refusal call(const QString &client, const QDBusMessage &message, int timeoutMs,
                               Callback callback);
    /// Drops what waits for a client that has left, and the callbacks of what has been sent.
    void forgetClient(const QString &client);

private:
    /// What is in flight and waiting, of all, of one user or of one client; or a change of it.
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
        QDBusMessage message;
        int timeoutMs;
        Callback callback;
        /// What it takes as long as it waits; also the bytes and descriptors of what is in flight.
        Usage usage;
    };
    struct Client
    {
        uint user;
        Usage usage;
        std::deque<Call> waiting;
        /// The callbacks of what is in flight, by number; none after the client has left.
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
    /// Clients whose calls wait, in the order of their turns.
    std::deque<QString> m_turns;
    quint64 m_lastNumber = 0;
};

} // namespace DBus

#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>

#include <deque>
#include <functional>

class QDBusPendingCallWatcher;

namespace DBus {

/// Sends method calls in the order in which they were made and keeps a bounded number of them
/// unanswered at a time; the rest wait here. The bus allows a connection 128 outstanding replies
/// in all, so a peer that does not answer would otherwise make calls to every other peer fail.
/// A call is sent even when whoever made it is gone by then. Event-loop thread only.
class CallQueue : public QObject
{
    Q_OBJECT

public:
    /// Looks at the finished call; the watcher is deleted afterwards. Never runs inside call().
    using Callback = std::function<void(QDBusPendingCallWatcher *)>;

    /// @param maxInFlight how many calls may be unanswered at a time.
    /// @param maxWaiting how many more may wait for their turn.
    CallQueue(const QDBusConnection &connection, int maxInFlight, int maxWaiting,
              QObject *parent = nullptr);

    /// Queues a call.
    /// @param timeoutMs how long to wait for the answer once sent, in milliseconds; -1 is the
    ///     bus library's default.
    /// @return false, and the callback never runs, when too many calls wait already.
    [[nodiscard]] bool call(const QDBusMessage &message, int timeoutMs, Callback callback);
    /// Queues a call whose answer nobody wants; keeps its place among the others.
    void send(const QDBusMessage &message);

private:
    struct Entry
    {
        QDBusMessage message;
        int timeoutMs;
        Callback callback;
    };

    void sendWaiting();
    void dispatch(const Entry &entry);

    QDBusConnection m_connection;
    const int m_maxInFlight;
    const int m_maxWaiting;
    int m_inFlight = 0;
    std::deque<Entry> m_waiting;
};

} // namespace DBus

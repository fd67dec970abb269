#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDeadlineTimer>
#include <QObject>
#include <QTimer>

#include <array>
#include <deque>
#include <functional>
#include <map>
#include <vector>

namespace DBus {

/// Sends method calls, and limits how many of them are unanswered at a time. The other calls wait
/// in lanes. The bus allows a connection 128 outstanding replies, so without the limit one peer
/// that does not answer could make calls to all other peers fail. A call counts until its answer
/// arrives, even after its deadline, because the bus counts it until then. Event-loop thread only.
class CallQueue : public QObject
{
    Q_OBJECT

public:
    /// Receives the answer: a reply, or an error from the peer, the bus or this queue. Runs exactly
    /// once, and never inside call().
    using Callback = std::function<void(const QDBusMessage &)>;

    /// Priorities. Calls in an earlier lane are sent before those in later lanes; within a lane,
    /// calls are sent in the order in which they were queued.
    enum Lane { Urgent, Normal, Background };
    /// For each lane: a call of the lane is sent only while fewer calls than this, of all lanes
    /// together, are unanswered. Earlier lanes should have higher limits, so that room is reserved
    /// for them.
    using Limits = std::array<int, 3>;

    struct Call
    {
        QDBusMessage message;
        Callback answered;
        Lane lane = Normal;
        /// A call that has not been sent by then is dropped and gets the error Timeout.
        QDeadlineTimer sendBy = QDeadlineTimer::Forever;
        /// A call that has not been answered by then gets the error NoReply. If it still waits, it
        /// is sent later nevertheless.
        QDeadlineTimer answerBy = QDeadlineTimer::Forever;
        /// Runs when the call leaves the queue: with true right after it was sent, which may be
        /// inside call(), or with false when it was dropped.
        std::function<void(bool sent)> left = {};
    };

    /// @param connection the connection to send on.
    CallQueue(const QDBusConnection &connection, const Limits &limits, QObject *parent = nullptr);
    ~CallQueue() override;

    /// Queues a call, and sends it at once if the limits allow it.
    void call(Call call);

private:
    struct Unanswered
    {
        /// Empty once it has run.
        Callback answered;
        QDeadlineTimer answerBy;
    };

    void sendWaiting();
    [[nodiscard]] std::deque<Call> *nextLane();
    void dispatch(Call call);
    void finish(quint64 number, const QDBusMessage &answer);
    void scheduleExpiry(const QDeadlineTimer &deadline);
    void expire();
    void dropUnsent();
    void answerExpired();
    void stopTimerIfUnused();

    QDBusConnection m_connection;
    const Limits m_limits;
    std::array<std::deque<Call>, 3> m_waiting;
    /// Calls whose turn came after their deadline; the timer answers them.
    std::vector<Call> m_tooLate;
    /// Calls that have been sent, in order of sending.
    std::map<quint64, Unanswered> m_unanswered;
    quint64 m_lastNumber = 0;
    /// Runs until the next deadline.
    QTimer m_expiry;
};

} // namespace DBus

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

/// Sends method calls and keeps a bounded number of them unanswered at a time; the rest wait here,
/// in lanes. The bus allows a connection 128 outstanding replies in all, so a peer that does not
/// answer would otherwise make calls to every other peer fail. A call keeps its place until its
/// answer is here, also when nobody waits for that any longer, because the bus counts it until
/// then. Event-loop thread only.
class CallQueue : public QObject
{
    Q_OBJECT

public:
    /// Looks at the answer: a reply, or an error from the peer, the bus or this queue. Runs exactly
    /// once, and never inside call().
    using Callback = std::function<void(const QDBusMessage &)>;

    /// What waits in a lane is sent before all that waits in the lanes below it, in the order in
    /// which it was asked.
    enum Lane { Urgent, Normal, Background };
    /// By lane: how many calls of all lanes together may be unanswered when one more is sent. The
    /// lanes above Background should have more, so that some places are always left to them.
    using Limits = std::array<int, 3>;

    struct Call
    {
        QDBusMessage message;
        Callback answered;
        Lane lane = Normal;
        /// When it is not sent by then it is never sent: the answer is the error Timeout.
        QDeadlineTimer sendBy = QDeadlineTimer::Forever;
        /// When its answer is not here by then, the answer is the error NoReply. A call that still
        /// waits is sent later all the same.
        QDeadlineTimer answerBy = QDeadlineTimer::Forever;
        /// Runs when the call leaves the queue: right behind the sending, perhaps inside call(), or
        /// with false when it is not sent.
        std::function<void(bool sent)> left = {};
    };

    CallQueue(const QDBusConnection &connection, const Limits &limits, QObject *parent = nullptr);
    ~CallQueue() override;

    void call(Call call);

private:
    struct Unanswered
    {
        /// None once it has run.
        Callback answered;
        QDeadlineTimer answerBy;
    };

    void sendWaiting();
    [[nodiscard]] std::deque<Call> *nextLane();
    void dispatch(Call call);
    void finish(quint64 number, const QDBusMessage &answer);
    void watch(const QDeadlineTimer &deadline);
    void expire();
    void dropUnsent();
    void answerOverdue();
    void rest();

    QDBusConnection m_connection;
    const Limits m_limits;
    std::array<std::deque<Call>, 3> m_waiting;
    /// Calls whose turn came behind their deadline, for the timer.
    std::vector<Call> m_tooLate;
    /// What has been sent, in that order.
    std::map<quint64, Unanswered> m_unanswered;
    quint64 m_lastNumber = 0;
    /// Runs while anything has a deadline, up to the next one.
    QTimer m_expiry;
};

} // namespace DBus

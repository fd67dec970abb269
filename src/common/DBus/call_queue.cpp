#include "common/DBus/call_queue.h"

#include <QDBusError>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

namespace DBus {

namespace {

// Deadlines are handled here. At a timeout of its own, the bus library would forget the call, but
// the bus would still count it.
constexpr int noTimeoutMs = std::numeric_limits<int>::max();

QDBusMessage notSent()
{
    return QDBusMessage::createError(
        QDBusError(QDBusError::Timeout, QStringLiteral("The call could not be sent in time")));
}

QDBusMessage notAnswered()
{
    return QDBusMessage::createError(
        QDBusError(QDBusError::NoReply, QStringLiteral("The call was not answered in time")));
}

} // namespace

CallQueue::CallQueue(const QDBusConnection &connection, const Limits &limits, QObject *parent)
    : QObject(parent)
    , m_connection(connection)
    , m_limits(limits)
{
    m_expiry.setSingleShot(true);
    connect(&m_expiry, &QTimer::timeout, this, &CallQueue::expire);
}

CallQueue::~CallQueue() = default;

void CallQueue::call(Call call)
{
    scheduleExpiry(call.sendBy);
    scheduleExpiry(call.answerBy);
    m_waiting[call.lane].push_back(std::move(call));
    sendWaiting();
}

std::deque<CallQueue::Call> *CallQueue::nextLane()
{
    for (std::size_t lane = 0; lane < m_waiting.size(); ++lane) {
        if (!m_waiting[lane].empty() && m_unanswered.size() < std::size_t(m_limits[lane]))
            return &m_waiting[lane];
    }
    return nullptr;
}

void CallQueue::sendWaiting()
{
    while (std::deque<Call> *lane = nextLane()) {
        Call call = std::move(lane->front());
        lane->pop_front();
        if (call.sendBy.hasExpired())
            m_tooLate.push_back(std::move(call));
        else
            dispatch(std::move(call));
    }
    // From the event loop, because no callback may run inside call().
    if (!m_tooLate.empty())
        m_expiry.start(0);
}

void CallQueue::dispatch(Call call)
{
    const quint64 number = ++m_lastNumber;
    m_unanswered.insert({number, {std::move(call.answered), call.answerBy}});
    auto *watcher =
        new QDBusPendingCallWatcher(m_connection.asyncCall(call.message, noTimeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, number](QDBusPendingCallWatcher *finished) {
                finished->deleteLater();
                finish(number, finished->reply());
            });
    if (call.left)
        call.left(true);
}

void CallQueue::finish(quint64 number, const QDBusMessage &answer)
{
    const auto call = m_unanswered.find(number);
    const Callback answered = std::move(call->second.answered);
    m_unanswered.erase(call);
    sendWaiting();
    stopTimerIfUnused();
    if (answered)
        answered(answer);
}

void CallQueue::scheduleExpiry(const QDeadlineTimer &deadline)
{
    if (deadline.isForever())
        return;
    // Deadlines are minutes, which fit into an int.
    const int remaining = static_cast<int>(deadline.remainingTime());
    if (!m_expiry.isActive() || remaining < m_expiry.remainingTime())
        m_expiry.start(remaining);
}

void CallQueue::expire()
{
    dropUnsent();
    answerExpired();
    for (const auto &lane : m_waiting) {
        for (const Call &call : lane) {
            scheduleExpiry(call.sendBy);
            scheduleExpiry(call.answerBy);
        }
    }
    for (const auto &[number, call] : m_unanswered)
        scheduleExpiry(call.answerBy);
}

void CallQueue::dropUnsent()
{
    std::vector<Call> dropped = std::exchange(m_tooLate, {});
    for (auto &lane : m_waiting) {
        const auto expired = std::stable_partition(
            lane.begin(), lane.end(), [](const Call &call) { return !call.sendBy.hasExpired(); });
        std::move(expired, lane.end(), std::back_inserter(dropped));
        lane.erase(expired, lane.end());
    }
    for (const Call &call : dropped) {
        if (call.left)
            call.left(false);
        if (call.answered)
            call.answered(notSent());
    }
}

void CallQueue::answerExpired()
{
    std::vector<Callback> overdue;
    const auto takeExpired = [&overdue](auto &call) {
        if (!call.answerBy.hasExpired())
            return;
        call.answerBy = QDeadlineTimer::Forever;
        overdue.push_back(std::exchange(call.answered, nullptr));
    };
    // Calls that still wait stay in the queue; only sendBy removes them.
    for (auto &lane : m_waiting)
        std::for_each(lane.begin(), lane.end(), takeExpired);
    for (auto &[number, call] : m_unanswered)
        takeExpired(call);
    for (const Callback &answered : overdue)
        answered(notAnswered());
}

void CallQueue::stopTimerIfUnused()
{
    const bool waits = std::any_of(m_waiting.cbegin(), m_waiting.cend(),
                                   [](const auto &lane) { return !lane.empty(); });
    if (!waits && m_tooLate.empty() && m_unanswered.empty())
        m_expiry.stop();
}

} // namespace DBus

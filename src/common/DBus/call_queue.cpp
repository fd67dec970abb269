#include "common/DBus/call_queue.h"

#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>

#include <utility>

namespace DBus {

CallQueue::CallQueue(const QDBusConnection &connection, int maxInFlight, int maxWaiting,
                     QObject *parent)
    : QObject(parent)
    , m_connection(connection)
    , m_maxInFlight(maxInFlight)
    , m_maxWaiting(maxWaiting)
{
}

bool CallQueue::call(const QDBusMessage &message, int timeoutMs, Callback callback)
{
    if (m_inFlight >= m_maxInFlight && m_waiting.size() >= static_cast<std::size_t>(m_maxWaiting))
        return false;
    m_waiting.push_back({message, timeoutMs, std::move(callback)});
    sendWaiting();
    return true;
}

void CallQueue::send(const QDBusMessage &message)
{
    m_waiting.push_back({message, 0, nullptr});
    sendWaiting();
}

void CallQueue::sendWaiting()
{
    while (!m_waiting.empty() && (m_inFlight < m_maxInFlight || !m_waiting.front().callback)) {
        const Entry entry = std::move(m_waiting.front());
        m_waiting.pop_front();
        dispatch(entry);
    }
}

void CallQueue::dispatch(const Entry &entry)
{
    if (!entry.callback) {
        // Marks the call as wanting no reply, so it does not count against the bus's limit.
        m_connection.send(entry.message);
        return;
    }
    ++m_inFlight;
    auto *watcher =
        new QDBusPendingCallWatcher(m_connection.asyncCall(entry.message, entry.timeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, callback = entry.callback](QDBusPendingCallWatcher *finished) {
                finished->deleteLater();
                --m_inFlight;
                sendWaiting();
                callback(finished);
            });
}

} // namespace DBus

#include "system/Core/shared_reload.h"

#include "system/Core/systemd_proxy.h"

#include <utility>

namespace Core {

SharedReload::SharedReload(SystemdProxy &systemd, std::chrono::milliseconds timeout,
                           QObject *parent)
    : QObject(parent)
    , m_systemd(systemd)
    , m_timeout(timeout)
{
}

void SharedReload::run(Operation operation)
{
    m_waiting.push_back(std::move(operation));
    if (m_underWay == 0)
        sendWaiting();
}

void SharedReload::sendWaiting()
{
    if (m_waiting.empty())
        return;
    ++m_underWay;
    // Finished from the event loop, so that starts that arrived before the answer, but are not
    // handled yet, share the next reload.
    m_systemd.reload(
        [this] { QMetaObject::invokeMethod(this, "finishReload", Qt::QueuedConnection); },
        QDeadlineTimer(m_timeout));
    const auto operations = std::exchange(m_waiting, {});
    for (const Operation &operation : operations)
        operation();
}

void SharedReload::finishReload()
{
    if (--m_underWay == 0)
        sendWaiting();
}

} // namespace Core

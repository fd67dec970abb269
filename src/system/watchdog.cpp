#include "system/watchdog.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>

#include <systemd/sd-daemon.h>

#include <cstdint>

Watchdog::Watchdog(const QDBusConnection &bus, QObject *parent)
    : QObject(parent)
    , m_bus(bus)
{
    std::uint64_t timeoutUs = 0;
    if (sd_watchdog_enabled(0, &timeoutUs) <= 0)
        return;
    // Three times in the time that is allowed, so that a loaded machine may miss two.
    m_timer.setInterval(static_cast<int>(timeoutUs / 1000 / 3));
    m_timer.setTimerType(Qt::CoarseTimer);
    connect(&m_timer, &QTimer::timeout, this, &Watchdog::askTheBus);
    m_timer.start();
}

void Watchdog::askTheBus()
{
    const QDBusMessage question = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetId"));
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(question), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [](QDBusPendingCallWatcher *finished) {
                finished->deleteLater();
                // Only an answer proves that messages still come in.
                if (!finished->isError())
                    sd_notify(0, "WATCHDOG=1");
            });
}

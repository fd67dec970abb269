#include "system/watchdog.h"

#include "system/systemd_notify.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>

#include <chrono>

Watchdog::Watchdog(const QDBusConnection &bus, QObject *parent)
    : QObject(parent)
    , m_bus(bus)
{
    const std::chrono::microseconds timeout = SystemdNotify::watchdogTimeout();
    if (timeout.count() <= 0)
        return;
    // Three times within the timeout, so that a busy machine may miss two.
    m_timer.setInterval(std::chrono::duration_cast<std::chrono::milliseconds>(timeout / 3));
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
                // Only an answer proves that messages are still received.
                if (!finished->isError())
                    SystemdNotify::send(QByteArrayLiteral("WATCHDOG=1"));
            });
}

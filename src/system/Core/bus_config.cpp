#include "system/Core/bus_config.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDebug>

#include <utility>

namespace Core {

BusConfig::BusConfig(QObject *parent)
    : QObject(parent)
{
}

void BusConfig::reload(const std::function<void()> &callback)
{
    // A reload that is already running may have read the directory before the caller's file was
    // written.
    m_waiting.push_back(callback);
    if (m_running.empty())
        send();
}

void BusConfig::send()
{
    m_running = std::exchange(m_waiting, {});
    const QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("ReloadConfig"));
    // Limited, because starts and their callers wait for the reload.
    constexpr int timeoutMs = 5000;
    auto *watcher =
        new QDBusPendingCallWatcher(QDBusConnection::systemBus().asyncCall(call, timeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this](QDBusPendingCallWatcher *finished) {
                finished->deleteLater();
                if (finished->isError())
                    qWarning() << "The bus did not reload its configuration:"
                               << finished->error().message();
                const auto done = std::exchange(m_running, {});
                for (const auto &callback : done)
                    callback();
                if (m_running.empty() && !m_waiting.empty())
                    send();
            });
}

} // namespace Core

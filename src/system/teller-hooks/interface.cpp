#include "system/teller-hooks/interface.h"

#include "common/client_text.h"

#include <QDBusError>
#include <QDebug>

#include <utility>

namespace TellerHooks {

DBusInterface::DBusInterface(CleanUp autostart, CleanUp tasks, QObject *parent)
    : QObject(parent)
    , m_autostart(std::move(autostart))
    , m_tasks(std::move(tasks))
{
}

void DBusInterface::OnRemove(const QString &application)
{
    // The object is idle between calls; each call restarts the idle time.
    setIdle(false);
    setIdle(true);
    const bool autostartForgot = m_autostart(application);
    const bool tasksForgot = m_tasks(application);
    if (autostartForgot && tasksForgot)
        return;
    if (!autostartForgot)
        qWarning() << "Failed to remove application" << ClientText(application) << "from autostart";
    if (!tasksForgot)
        qWarning() << "Failed to remove application" << ClientText(application)
                   << "from task manager";
    sendErrorReply(QDBusError::Failed,
                   QStringLiteral("Failed to remove application %1").arg(application));
}

void DBusInterface::setIdle(bool idle)
{
    if (m_isIdle == idle)
        return;
    m_isIdle = idle;
    Q_EMIT isIdleChanged();
}

} // namespace TellerHooks

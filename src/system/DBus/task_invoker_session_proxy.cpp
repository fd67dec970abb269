#include "system/DBus/task_invoker_session_proxy.h"

#include "common/names.h"

#include <QDBusConnection>
#include <QDBusMessage>

namespace DBus {

bool TaskInvokerSessionProxy::handleMessage(const QDBusMessage &message,
                                            const QDBusConnection &connection)
{
    const bool closes = message.type() == QDBusMessage::MethodCallMessage
        && message.interface() == Names::taskInvokerSessionInterface()
        && message.member() == QLatin1String("CloseSession");
    if (!closes)
        return SessionProxy::handleMessage(message, connection);
    if (forward(message, connection, AnswerAfterwards::No))
        Q_EMIT sessionClosed();
    return true;
}

} // namespace DBus

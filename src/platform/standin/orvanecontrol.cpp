#include "orvanecontrol.h"

#include <QDBusConnection>
#include <QDBusMessage>

namespace Orvane {

Control &Control::instance()
{
    static Control control;
    return control;
}

Error Control::start(const QString &applicationId)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.zarn.Orvane"), QStringLiteral("/org/zarn/Orvane/Control1"),
        QStringLiteral("org.zarn.Orvane.Control1"), QStringLiteral("Start"));
    call << applicationId;
    const QDBusMessage reply = QDBusConnection::systemBus().call(call);
    return reply.type() == QDBusMessage::ErrorMessage ? Error(reply.errorMessage()) : Error();
}

} // namespace Orvane

#include "chaos/random_calls.h"

#include "client/calls.h"
#include "support/fixture.h"

#include <array>

namespace Chaos {

void RandomCalls::declareApplications(const TempRoot &root)
{
    for (int number = 0; number < applications; ++number)
        root.writeApplication(QStringLiteral("App%1").arg(number),
                              "[X-Task sync]\nType=Sync\nExec=/opt/w\n");
}

QDBusMessage RandomCalls::any()
{
    const int kind = number(88);
    if (kind < 8)
        return start();
    if (kind < 16)
        return stop();
    if (kind < 26)
        return registration();
    if (kind < 36)
        return forwarded();
    if (kind < 46)
        return wrong();
    return listOrSwitch();
}

QDBusMessage RandomCalls::listOrSwitch()
{
    const int kind = number(42);
    if (kind < 14)
        return Client::setEnabledCall(number(6) - 1, application(), number(2) == 0);
    if (kind < 28)
        return Client::getEnabledCall(number(6) - 1);
    if (kind < 40)
        return Client::sessionPropertyCall(Fixture::sessionPath(),
                                           number(2) == 0 ? QStringLiteral("ActiveTasks")
                                                          : QStringLiteral("AvailableTasks"));
    return Client::onRemoveCall(application());
}

QDBusMessage RandomCalls::start()
{
    QVariantMap hints{{QStringLiteral("User"), QStringLiteral("appuser")}};
    if (number(8) == 0)
        hints.insert(QStringLiteral("DBusService"), QStringLiteral("com.example.Own"));
    return Fixture::startCall(task(), hints);
}

QDBusMessage RandomCalls::stop() { return Client::stopCall(Fixture::sessionPath(), task()); }

QDBusMessage RandomCalls::stopOfNothing()
{
    const QString invented = QString::number(m_random(), 36);
    const std::array<QString, 4> ids{QStringLiteral("com.example.X%1.task_sync").arg(invented),
                                     application() + QStringLiteral(".task_") + invented,
                                     QStringLiteral("../") + invented, QString()};
    return Client::stopCall(Fixture::sessionPath(), ids[size_t(number(int(ids.size())))]);
}

QDBusMessage RandomCalls::registration()
{
    return Client::registerInvokerCall(number(4) == 0 ? QStringLiteral("Foreign")
                                                      : QStringLiteral("Sync"));
}

QDBusMessage RandomCalls::forwarded()
{
    return Fixture::methodCall(QStringLiteral("/org/zarn/Orvane/Control1"),
                               QStringLiteral("org.zarn.Orvane.Control1"), QStringLiteral("Echo"),
                               {number(1000)});
}

QDBusMessage RandomCalls::wrong()
{
    return Fixture::methodCall(
        QStringLiteral("/org/zarn/am"), QStringLiteral("org.zarn.am.Autostart"),
        number(2) == 0 ? QStringLiteral("SetEnabled") : QStringLiteral("NoSuchMethod"),
        {QStringLiteral("wrong"), number(9)});
}

} // namespace Chaos

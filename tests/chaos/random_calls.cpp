#include "chaos/random_calls.h"

#include "client/calls.h"
#include "support/fixture.h"
#include "support/literals.h"

#include <array>

namespace Chaos {

void RandomCalls::declareApplications(const TempRoot &root)
{
    for (int number = 0; number < applications; ++number)
        root.writeApplication(u"App%1"_s.arg(number), "[X-Task sync]\nType=Sync\nExec=/opt/w\n");
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
                                           number(2) == 0 ? u"ActiveTasks"_s : u"AvailableTasks"_s);
    return Client::onRemoveCall(application());
}

QDBusMessage RandomCalls::start()
{
    QVariantMap hints{{u"User"_s, u"appuser"_s}};
    if (number(8) == 0)
        hints.insert(u"DBusService"_s, u"com.example.Own"_s);
    return Fixture::startCall(task(), hints);
}

QDBusMessage RandomCalls::stop() { return Client::stopCall(Fixture::sessionPath(), task()); }

QDBusMessage RandomCalls::stopOfNothing()
{
    const QString invented = QString::number(m_random(), 36);
    const std::array<QString, 4> ids{u"com.example.X%1.task_sync"_s.arg(invented),
                                     application() + u".task_"_s + invented, u"../"_s + invented,
                                     QString()};
    return Client::stopCall(Fixture::sessionPath(), ids[size_t(number(int(ids.size())))]);
}

QDBusMessage RandomCalls::registration()
{
    return Client::registerInvokerCall(number(4) == 0 ? u"Foreign"_s : u"Sync"_s);
}

QDBusMessage RandomCalls::forwarded()
{
    return Fixture::methodCall(u"/org/zarn/Orvane/Control1"_s, u"org.zarn.Orvane.Control1"_s,
                               u"Echo"_s, {number(1000)});
}

QDBusMessage RandomCalls::wrong()
{
    return Fixture::methodCall(u"/org/zarn/am"_s, u"org.zarn.am.Autostart"_s,
                               number(2) == 0 ? u"SetEnabled"_s : u"NoSuchMethod"_s,
                               {u"wrong"_s, number(9)});
}

} // namespace Chaos

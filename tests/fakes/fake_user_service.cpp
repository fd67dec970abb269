#include "fakes/fake_user_service.h"
#include "support/literals.h"

FakeUserService::FakeUserService(const QDBusConnection &bus, QObject *parent)
    : FakePeer(bus, parent)
    , answer([](const QDBusMessage &call) { return call.createReply(call.arguments()); })
{
    m_bus.registerVirtualObject(u"/org/zarn/Orvane"_s, this, QDBusConnection::SubPath);
    m_bus.registerService(u"org.zarn.Orvane.User"_s);
}

FakeUserService::~FakeUserService() { giveUp(u"org.zarn.Orvane.User"_s); }

void FakeUserService::release()
{
    hangs = false;
    while (m_answered < calls.size())
        m_bus.send(answer(calls.at(m_answered++)));
}

void FakeUserService::emitChange(const QString &path, const QString &interface,
                                 const QVariantMap &changed, const QStringList &invalidated)
{
    QDBusMessage signal = QDBusMessage::createSignal(path, u"org.freedesktop.DBus.Properties"_s,
                                                     u"PropertiesChanged"_s);
    signal << interface << changed << invalidated;
    m_bus.send(signal);
}

bool FakeUserService::serve(const QDBusMessage &call)
{
    // A test may have forgotten calls that were answered.
    m_answered = qMin(m_answered, calls.size());
    calls.append(call);
    if (!hangs)
        release();
    return true;
}

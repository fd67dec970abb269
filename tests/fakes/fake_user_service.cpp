#include "fakes/fake_user_service.h"

FakeUserService::FakeUserService(const QDBusConnection &bus, QObject *parent)
    : FakePeer(bus, parent)
    , answer([](const QDBusMessage &call) { return call.createReply(call.arguments()); })
{
    m_bus.registerVirtualObject(QStringLiteral("/org/zarn/Orvane"), this, QDBusConnection::SubPath);
    m_bus.registerService(QStringLiteral("org.zarn.Orvane.User"));
}

FakeUserService::~FakeUserService() { giveUp(QStringLiteral("org.zarn.Orvane.User")); }

void FakeUserService::release()
{
    hangs = false;
    while (m_answered < calls.size())
        m_bus.send(answer(calls.at(m_answered++)));
}

void FakeUserService::emitChange(const QString &path, const QString &interface,
                                 const QVariantMap &changed, const QStringList &invalidated)
{
    QDBusMessage signal =
        QDBusMessage::createSignal(path, QStringLiteral("org.freedesktop.DBus.Properties"),
                                   QStringLiteral("PropertiesChanged"));
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

#include "fakes/fake_user_manager.h"
#include "support/literals.h"

#include <QDBusArgument>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusMetaType>

#include <utility>

namespace {

/// On the bus: (ssu)
struct User
{
    QString user;
    QString name;
    quint32 uid = 0;
};

QDBusArgument &operator<<(QDBusArgument &argument, const User &user)
{
    argument.beginStructure();
    argument << user.user << user.name << user.uid;
    argument.endStructure();
    return argument;
}

// Nothing reads these types; QtDBus requires both directions.
const QDBusArgument &operator>>(const QDBusArgument &argument, User &) { return argument; }

} // namespace

Q_DECLARE_METATYPE(User)

FakeUserManager::FakeUserManager(const QDBusConnection &bus, const QString &mode,
                                 const QStringList &uids)
    : FakePeer(bus)
    , m_mode(mode)
    , m_uids(uids)
{
    qDBusRegisterMetaType<User>();
    qDBusRegisterMetaType<QList<User>>();
    QDBusConnection connection(bus);
    m_isUp = connection.registerVirtualObject(u"/"_s, this)
        && connection.registerService(u"org.sailfishos.usermanager"_s);
}

bool FakeUserManager::serve(const QDBusMessage &call)
{
    if (call.interface() != QLatin1String("org.sailfishos.usermanager")
        || call.member() != QLatin1String("users") || !call.arguments().isEmpty())
        return false;
    if (onCall)
        onCall();
    if (m_mode == QLatin1String("hang"))
        m_waiting.append(call);
    else
        send(answerTo(call));
    return true;
}

void FakeUserManager::release(const QString &mode)
{
    m_mode = mode;
    const QVector<QDBusMessage> waiting = std::exchange(m_waiting, {});
    for (const QDBusMessage &message : waiting)
        m_bus.send(answerTo(message));
}

QDBusMessage FakeUserManager::answerTo(const QDBusMessage &message) const
{
    if (m_mode == QLatin1String("error"))
        return message.createErrorReply(QDBusError::Failed, u"No users today"_s);
    if (m_mode == QLatin1String("malformed"))
        return message.createReply(QStringList{u"100000"_s});
    QList<User> users;
    for (const QString &uid : m_mode == QLatin1String("empty") ? QStringList() : m_uids)
        users.append({u"user"_s + uid, u"User"_s, uid.toUInt()});
    return message.createReply(QVariant::fromValue(users));
}

// Stands in for the user manager: owns its name on the system bus and answers "users" as its first
// argument says. Each call is a line "users" on standard output, after "ready".
//
//   fake-user-manager list UID...   those users
//   fake-user-manager empty         no user
//   fake-user-manager error         an error reply
//   fake-user-manager malformed     a reply of another type
//   fake-user-manager hang          no reply

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVirtualObject>
#include <QStringList>

#include <csignal>
#include <cstdio>
#include <sys/prctl.h>

namespace {

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

const QDBusArgument &operator>>(const QDBusArgument &argument, User &user)
{
    argument.beginStructure();
    argument >> user.user >> user.name >> user.uid;
    argument.endStructure();
    return argument;
}

void say(const char *word)
{
    std::puts(word);
    std::fflush(stdout);
}

} // namespace

Q_DECLARE_METATYPE(User)

namespace {

class UserManager : public QDBusVirtualObject
{
public:
    UserManager(const QString &mode, const QStringList &uids)
        : m_mode(mode)
    {
        for (const QString &uid : uids)
            m_users.append({QStringLiteral("user") + uid, QStringLiteral("User"), uid.toUInt()});
    }

    QString introspect(const QString &) const override { return {}; }

    bool handleMessage(const QDBusMessage &message, const QDBusConnection &bus) override
    {
        if (message.interface() != QLatin1String("org.sailfishos.usermanager")
            || message.member() != QLatin1String("users") || !message.arguments().isEmpty())
            return false;
        say("users");
        if (m_mode == QLatin1String("hang"))
            return true;
        return bus.send(answerTo(message));
    }

private:
    QDBusMessage answerTo(const QDBusMessage &message) const
    {
        if (m_mode == QLatin1String("error"))
            return message.createErrorReply(QDBusError::Failed, QStringLiteral("No users today"));
        if (m_mode == QLatin1String("malformed"))
            return message.createReply(QStringList{QStringLiteral("100000")});
        return message.createReply(QVariant::fromValue(m_users));
    }

    const QString m_mode;
    QList<User> m_users;
};

} // namespace

int main(int argc, char *argv[])
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    QCoreApplication application(argc, argv);
    qDBusRegisterMetaType<User>();
    qDBusRegisterMetaType<QList<User>>();
    const QStringList arguments = QCoreApplication::arguments();
    UserManager manager(arguments.value(1), arguments.mid(2));
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.registerVirtualObject(QStringLiteral("/"), &manager)
        || !bus.registerService(QStringLiteral("org.sailfishos.usermanager")))
        return 1;
    say("ready");
    return QCoreApplication::exec();
}

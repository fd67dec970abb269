#include "system/DBus/caller_authorization.h"

#include "support/literals.h"
#include "support/lone_bus.h"
#include "support/private_bus.h"

#include <QDBusConnectionInterface>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <initializer_list>
#include <memory>
#include <utility>
#include <vector>

/// User and group of a process.
struct Ids
{
    uid_t user;
    gid_t group;
    std::vector<gid_t> furtherGroups;
};
Q_DECLARE_METATYPE(Ids)

namespace {

constexpr uid_t noSuchUser = 3999999;
constexpr gid_t noSuchGroup = 3999999;

gid_t groupId(const char *name)
{
    const group *entry = ::getgrnam(name);
    return entry != nullptr ? entry->gr_gid : noSuchGroup;
}

uid_t userId(const char *name)
{
    const passwd *entry = ::getpwnam(name);
    return entry != nullptr ? entry->pw_uid : noSuchUser;
}

/// Gives this process another user and group while it exists; then root's again.
class Disguise
{
public:
    Disguise() = default;
    ~Disguise() { (void)become({0, 0, {}}); }
    Q_DISABLE_COPY(Disguise)

    [[nodiscard]] static bool become(const Ids &ids)
    {
        return ::seteuid(0) == 0 && ::setegid(ids.group) == 0
            && ::setgroups(ids.furtherGroups.size(), ids.furtherGroups.data()) == 0
            && ::seteuid(ids.user) == 0;
    }
};

QVariantMap answerOf(std::initializer_list<std::pair<const char *, QVariant>> values)
{
    QVariantMap answer;
    for (const auto &[name, value] : values)
        answer.insert(QString::fromLatin1(name), value);
    return answer;
}

} // namespace

/// Stores the call that it receives.
class Receiver : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.example.Receiver")

public:
    QDBusMessage received;

public Q_SLOTS:
    void Ping() { received = message(); }
};

class TestCallerAuthorization : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void admitsByOwnerAndGroup_data();
    void admitsByOwnerAndGroup();
    void admitsAMemberOfASecondGroup();
    void admitsRoot();
    void wantsBothViewsToAgree_data();
    void wantsBothViewsToAgree();
    void asksTheUserDatabaseWhereTheBusNamesNoGroups_data();
    void asksTheUserDatabaseWhereTheBusNamesNoGroups();
    void refusesWithoutAUserOrAProcessFromTheBus_data();
    void refusesWithoutAUserOrAProcessFromTheBus();
    void matchesNoGroupWithoutAName_data();
    void matchesNoGroupWithoutAName();
    void refusesAProcessThatIsGone();
    void refusesACallerThatVanished();
    void refusesWithoutABus();
    void remembersARefusalForAMoment();
    void remembersARefusalOfTheseGroupsAndThisCallerAlone();
    void skipsTheCheckOnlyWhenToldExactlySo_data();
    void skipsTheCheckOnlyWhenToldExactlySo();

private:
    bool admits(const QStringList &groups) const
    {
        return DBus::isCallerAuthorized(m_receiver.received, m_bus->connect(u"to"_s), groups);
    }
    bool admitsOn(const LoneBus &bus, const QStringList &groups) const
    {
        return bus.ask([&](const QDBusConnection &connection) {
            return DBus::isCallerAuthorized(m_receiver.received, connection, groups);
        });
    }
    /// Lets this process connect as `connecting` and have the ids `now` when it is checked.
    bool admitsAcrossTheChange(const Ids &connecting, const Ids &now, bool &admitted)
    {
        const Disguise disguise;
        const QString name = u"disguised"_s;
        const bool called = Disguise::become(connecting) && callFrom(m_bus->connect(name));
        const bool changed = Disguise::become(now);
        admitted = admits({u"man"_s});
        QDBusConnection::disconnectFromBus(name);
        return called && changed;
    }
    bool callFrom(const QDBusConnection &from)
    {
        m_receiver.received = {};
        from.asyncCall(QDBusMessage::createMethodCall(m_bus->connect(u"to"_s).baseService(), u"/"_s,
                                                      u"org.example.Receiver"_s, u"Ping"_s));
        return QTest::qWaitFor(
            [this] { return m_receiver.received.member() == QLatin1String("Ping"); });
    }
    bool ownProcess(uid_t uid, gid_t gid) const
    {
        const QString process =
            m_root->filePath(u"proc/%1"_s.arg(QCoreApplication::applicationPid()));
        return QDir().mkpath(process)
            && ::chown(QFile::encodeName(process).constData(), uid, gid) == 0;
    }

    std::unique_ptr<PrivateBus> m_bus;
    std::unique_ptr<QTemporaryDir> m_root;
    Receiver m_receiver;
};

void TestCallerAuthorization::initTestCase()
{
    m_bus = std::make_unique<PrivateBus>();
    QVERIFY(m_bus->start());
    QDBusConnection to = m_bus->connect(u"to"_s);
    QVERIFY(to.isConnected());
    QVERIFY(to.registerObject(u"/"_s, &m_receiver, QDBusConnection::ExportAllSlots));
}

void TestCallerAuthorization::init()
{
    m_root = std::make_unique<QTemporaryDir>();
    qputenv("ORVANE_ROOTFS", m_root->path().toUtf8());
    QVERIFY(callFrom(m_bus->connect(u"from"_s)));
}

void TestCallerAuthorization::cleanup()
{
    // Disconnects, because the next call needs another caller: this one may have been refused.
    QDBusConnection::disconnectFromBus(u"from"_s);
    qunsetenv("ORVANE_ROOTFS");
    qunsetenv("ORVANE_SKIP_AUTHENTICATION");
    qunsetenv("ORVANE_TASK_GROUPS");
}

void TestCallerAuthorization::admitsByOwnerAndGroup_data()
{
    QTest::addColumn<uint>("uid");
    QTest::addColumn<uint>("gid");
    QTest::addColumn<QStringList>("groups");
    QTest::addColumn<bool>("admitted");

    const QString man = u"man"_s;
    const QString games = u"games"_s;
    const QString missing = u"no-such-group"_s;
    const uint manUser = userId("man");
    QTest::newRow("root") << 0U << uint(noSuchGroup) << QStringList{man} << true;
    QTest::newRow("root without any group to be in") << 0U << 0U << QStringList() << true;
    QTest::newRow("group of the process")
        << uint(noSuchUser) << uint(groupId("man")) << QStringList{man} << true;
    QTest::newRow("primary group of the user")
        << manUser << uint(noSuchGroup) << QStringList{man} << true;
    QTest::newRow("second of the groups")
        << manUser << uint(noSuchGroup) << QStringList({games, man}) << true;
    QTest::newRow("another group")
        << manUser << uint(groupId("man")) << QStringList{games} << false;
    QTest::newRow("group of root") << manUser << 0U << QStringList{games} << false;
    QTest::newRow("group that does not exist")
        << manUser << uint(noSuchGroup) << QStringList{missing} << false;
    QTest::newRow("no group to be in") << manUser << uint(groupId("man")) << QStringList() << false;
    QTest::newRow("unknown user") << uint(noSuchUser) << uint(noSuchGroup) << QStringList{man}
                                  << false;
}

void TestCallerAuthorization::admitsByOwnerAndGroup()
{
    QFETCH(uint, uid);
    QFETCH(uint, gid);
    QFETCH(QStringList, groups);
    QFETCH(bool, admitted);

    if (!ownProcess(uid, gid))
        QSKIP("only root can give files away");
    QCOMPARE(admits(groups), admitted);
}

void TestCallerAuthorization::admitsAMemberOfASecondGroup()
{
    QString name;
    uid_t member = noSuchUser;
    ::setgrent();
    while (const group *entry = ::getgrent()) {
        const passwd *user = entry->gr_mem[0] != nullptr ? ::getpwnam(entry->gr_mem[0]) : nullptr;
        if (user != nullptr && user->pw_uid != 0 && user->pw_gid != entry->gr_gid) {
            name = QString::fromUtf8(entry->gr_name);
            member = user->pw_uid;
        }
    }
    ::endgrent();
    if (name.isEmpty())
        QSKIP("no user of this system has a second group");
    if (!ownProcess(member, noSuchGroup))
        QSKIP("only root can give files away");
    QVERIFY(admits({name}));
}

void TestCallerAuthorization::admitsRoot()
{
    // The real process, without a root prefix.
    qunsetenv("ORVANE_ROOTFS");
    QCOMPARE(admits({u"no-such-group"_s}), ::geteuid() == 0);
}

void TestCallerAuthorization::wantsBothViewsToAgree_data()
{
    QTest::addColumn<Ids>("connecting");
    QTest::addColumn<Ids>("now");
    QTest::addColumn<bool>("admitted");

    // The bus does not admit users that are missing in the user database.
    const uid_t other = userId("nobody");
    const gid_t none = noSuchGroup;
    const uid_t member = userId("man");
    const gid_t man = groupId("man");
    const Ids root{0, 0, {}};
    const Ids stranger{other, none, {}};
    QTest::newRow("root before and after") << root << root << true;
    QTest::newRow("became root") << stranger << root << false;
    QTest::newRow("a member became root") << Ids{member, man, {}} << root << false;
    QTest::newRow("was root") << root << stranger << false;
    QTest::newRow("root became a member") << root << Ids{member, none, {}} << false;
    QTest::newRow("neither") << stranger << stranger << false;
    QTest::newRow("the process' group all along")
        << Ids{other, man, {}} << Ids{other, man, {}} << true;
    QTest::newRow("got the group") << stranger << Ids{other, man, {}} << false;
    QTest::newRow("got the group, had another")
        << Ids{other, groupId("games"), {}} << Ids{other, man, {}} << false;
    QTest::newRow("had the group among others")
        << Ids{other, none, {man}} << Ids{other, man, {}} << true;
    QTest::newRow("a member got the group") << Ids{member, none, {}} << Ids{other, man, {}} << true;
    QTest::newRow("had the group") << Ids{other, man, {}} << stranger << false;
    QTest::newRow("a member all along") << Ids{member, none, {}} << Ids{member, none, {}} << true;
    QTest::newRow("became a member") << stranger << Ids{member, none, {}} << false;
    QTest::newRow("had the group and became a member")
        << Ids{other, man, {}} << Ids{member, none, {}} << false;
    QTest::newRow("was a member") << Ids{member, none, {}} << stranger << false;
}

void TestCallerAuthorization::wantsBothViewsToAgree()
{
    QFETCH(Ids, connecting);
    QFETCH(Ids, now);
    QFETCH(bool, admitted);

    if (::geteuid() != 0)
        QSKIP("only root can become others");
    // Real processes and their credentials from the bus, without a root prefix.
    qunsetenv("ORVANE_ROOTFS");
    bool actual = !admitted;
    QVERIFY(admitsAcrossTheChange(connecting, now, actual));
    QCOMPARE(actual, admitted);
}

void TestCallerAuthorization::asksTheUserDatabaseWhereTheBusNamesNoGroups_data()
{
    QTest::addColumn<uint>("connected");
    QTest::addColumn<bool>("admitted");

    QTest::newRow("a member") << uint(userId("man")) << true;
    QTest::newRow("not a member") << uint(noSuchUser) << false;
    QTest::newRow("root") << 0U << false;
}

void TestCallerAuthorization::asksTheUserDatabaseWhereTheBusNamesNoGroups()
{
    QFETCH(uint, connected);
    QFETCH(bool, admitted);

    if (::geteuid() != 0)
        QSKIP("only root can become others");
    qunsetenv("ORVANE_ROOTFS");
    LoneBus bus;
    bus.answer = answerOf(
        {{"UnixUserID", connected}, {"ProcessID", uint(QCoreApplication::applicationPid())}});
    const Disguise disguise;
    QVERIFY(bus.listen());
    QVERIFY(Disguise::become({noSuchUser, groupId("man"), {}}));
    QCOMPARE(admitsOn(bus, {u"man"_s}), admitted);
}

void TestCallerAuthorization::refusesWithoutAUserOrAProcessFromTheBus_data()
{
    QTest::addColumn<QVariantMap>("answer");
    QTest::addColumn<bool>("prefixed");
    QTest::addColumn<bool>("admitted");

    const QVariant uid(::geteuid());
    const QVariant pid = uint(QCoreApplication::applicationPid());
    for (const bool prefixed : {false, true}) {
        const auto row = [prefixed](const char *name) -> QTestData & {
            return QTest::addRow("%s%s", name, prefixed ? ", below a root prefix" : "");
        };
        row("both") << answerOf({{"UnixUserID", uid}, {"ProcessID", pid}}) << prefixed << true;
        row("no user") << answerOf({{"ProcessID", pid}}) << prefixed << false;
        row("no process") << answerOf({{"UnixUserID", uid}}) << prefixed << false;
        row("nothing") << QVariantMap() << prefixed << false;
    }
}

void TestCallerAuthorization::refusesWithoutAUserOrAProcessFromTheBus()
{
    QFETCH(QVariantMap, answer);
    QFETCH(bool, prefixed);
    QFETCH(bool, admitted);

    if (!ownProcess(0, 0))
        QSKIP("only root can give files away");
    if (!prefixed)
        qunsetenv("ORVANE_ROOTFS");
    LoneBus bus;
    bus.answer = answer;
    QVERIFY(bus.listen());
    QCOMPARE(admitsOn(bus, {}), admitted);
}

void TestCallerAuthorization::matchesNoGroupWithoutAName_data()
{
    QTest::addColumn<QByteArray>("groups");

    for (const char *groups : {"man, ", "man,", ",man", " ", "", ", ,", "\t,man"})
        QTest::newRow(groups) << QByteArray(groups);
}

void TestCallerAuthorization::matchesNoGroupWithoutAName()
{
    QFETCH(QByteArray, groups);

    // Its group has no name, too.
    if (!ownProcess(noSuchUser, noSuchGroup))
        QSKIP("only root can give files away");
    qputenv("ORVANE_TASK_GROUPS", groups);
    QVERIFY(!DBus::mayRunTasks(m_receiver.received, m_bus->connect(u"to"_s)));
    QVERIFY(!admits({QString()}));
}

void TestCallerAuthorization::refusesAProcessThatIsGone()
{
    // There is no process directory below the root.
    QVERIFY(!admits({u"man"_s}));
}

void TestCallerAuthorization::refusesACallerThatVanished()
{
    if (!ownProcess(0, 0))
        QSKIP("only root can give files away");
    QVERIFY(admits({}));
    const QString caller = m_receiver.received.service();
    QDBusConnection::disconnectFromBus(u"from"_s);
    const QDBusConnection to = m_bus->connect(u"to"_s);
    QTRY_VERIFY(!to.interface()->isServiceRegistered(caller));
    QVERIFY(!admits({}));
}

void TestCallerAuthorization::refusesWithoutABus()
{
    QVERIFY(!DBus::isCallerAuthorized(m_receiver.received, QDBusConnection(QString()), {}));
}

void TestCallerAuthorization::remembersARefusalForAMoment()
{
    const QStringList man{u"man"_s};
    QVERIFY(!admits(man));
    if (!ownProcess(0, 0))
        QSKIP("only root can give files away");
    QVERIFY(!admits(man));
    QVERIFY(QTest::qWaitFor([&] { return admits(man); }));
}

void TestCallerAuthorization::remembersARefusalOfTheseGroupsAndThisCallerAlone()
{
    const QStringList man{u"man"_s};
    if (!ownProcess(noSuchUser, groupId("man")))
        QSKIP("only root can give files away");
    QVERIFY(!admits({u"games"_s}));
    QVERIFY(admits(man));
    QVERIFY(ownProcess(noSuchUser, noSuchGroup));
    QVERIFY(!admits(man));
    QVERIFY(ownProcess(noSuchUser, groupId("man")));
    QVERIFY(callFrom(m_bus->connect(u"another"_s)));
    QVERIFY(admits(man));
    QDBusConnection::disconnectFromBus(u"another"_s);
}

void TestCallerAuthorization::skipsTheCheckOnlyWhenToldExactlySo_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<bool>("admitted");

    QTest::newRow("1") << QByteArray("1") << true;
    QTest::newRow("empty") << QByteArray("") << false;
    for (const char *value : {"true", "0", "01", " 1", "1 ", "11", "yes"})
        QTest::newRow(value) << QByteArray(value) << false;
}

void TestCallerAuthorization::skipsTheCheckOnlyWhenToldExactlySo()
{
    QFETCH(QByteArray, value);
    QFETCH(bool, admitted);

    qputenv("ORVANE_SKIP_AUTHENTICATION", value);
    QCOMPARE(admits({u"man"_s}), admitted);
}

int main(int argc, char *argv[]) { runTestAndExit<TestCallerAuthorization>(argc, argv); }
#include "tst_caller_authorization.moc"

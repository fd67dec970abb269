#include "system/DBus/caller_credentials.h"

#include "support/literals.h"
#include "support/lone_bus.h"
#include "support/private_bus.h"

#include <QCoreApplication>
#include <QDBusConnectionInterface>
#include <QDBusMetaType>
#include <QTest>

#include <unistd.h>

#include <algorithm>
#include <vector>

using DBus::credentialsOf;

class TestCallerCredentials : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void namesUserGroupsAndProcess();
    void knowsNobodyWhoIsNotThere_data();
    void knowsNobodyWhoIsNotThere();
    void knowsNobodyWhoHasLeft();
    void knowsNobodyWithoutABus();
    void takesWhatTheBusSays_data();
    void takesWhatTheBusSays();
    void takesNothingOdd_data();
    void takesNothingOdd();

private:
    PrivateBus m_bus;
};

void TestCallerCredentials::initTestCase()
{
    qDBusRegisterMetaType<QVector<uint>>();
    QVERIFY(m_bus.start());
}

namespace {

QVector<uint> ownGroups()
{
    std::vector<gid_t> groups(static_cast<std::size_t>(::getgroups(0, nullptr)));
    const int count = ::getgroups(static_cast<int>(groups.size()), groups.data());
    groups.resize(static_cast<std::size_t>(std::max(count, 0)));
    QVector<uint> all(groups.cbegin(), groups.cend());
    if (!all.contains(::getegid()))
        all.append(::getegid());
    std::sort(all.begin(), all.end());
    return all;
}

QVariantMap answerWith(const char *name, const QVariant &value)
{
    QVariantMap answer{{u"UnixUserID"_s, 7U},
                       {u"UnixGroupIDs"_s, QVariant::fromValue(QVector<uint>{8, 9})},
                       {u"ProcessID"_s, 10U}};
    answer.insert(QString::fromLatin1(name), value);
    if (!value.isValid())
        answer.remove(QString::fromLatin1(name));
    return answer;
}

} // namespace

void TestCallerCredentials::namesUserGroupsAndProcess()
{
    const QDBusConnection one = m_bus.connect(u"one"_s);
    const QDBusConnection other = m_bus.connect(u"other"_s);
    const auto credentials = credentialsOf(one.baseService(), other);
    QVERIFY(credentials);
    QCOMPARE(credentials->uid, uint(::geteuid()));
    QCOMPARE(credentials->pid.value_or(0), uint(QCoreApplication::applicationPid()));
    QVERIFY(credentials->gids);
    QVector<uint> groups = *credentials->gids;
    std::sort(groups.begin(), groups.end());
    QCOMPARE(groups, ownGroups());
}

void TestCallerCredentials::knowsNobodyWhoIsNotThere_data()
{
    QTest::addColumn<QString>("name");

    QTest::newRow("unique name") << u":1.4000"_s;
    QTest::newRow("name") << u"org.example.Nobody"_s;
    QTest::newRow("no name at all") << QString();
}

void TestCallerCredentials::knowsNobodyWhoIsNotThere()
{
    QFETCH(QString, name);

    const QDBusConnection bus = m_bus.connect(u"one"_s);
    QVERIFY(!credentialsOf(name, bus));
}

void TestCallerCredentials::knowsNobodyWhoHasLeft()
{
    const QDBusConnection bus = m_bus.connect(u"one"_s);
    const QString name = m_bus.connect(u"leaving"_s).baseService();
    QVERIFY(credentialsOf(name, bus));
    QDBusConnection::disconnectFromBus(u"leaving"_s);
    QTRY_VERIFY(!bus.interface()->isServiceRegistered(name));
    QVERIFY(!credentialsOf(name, bus));
}

void TestCallerCredentials::knowsNobodyWithoutABus()
{
    QVERIFY(!credentialsOf(u":1.1"_s, QDBusConnection(QString())));
}

void TestCallerCredentials::takesWhatTheBusSays_data()
{
    QTest::addColumn<QVariantMap>("answer");
    QTest::addColumn<bool>("groups");
    QTest::addColumn<bool>("process");

    QTest::newRow("everything") << answerWith("LinuxSecurityLabel", QByteArray("x")) << true
                                << true;
    QTest::newRow("no groups") << answerWith("UnixGroupIDs", {}) << false << true;
    QTest::newRow("no process") << answerWith("ProcessID", {}) << true << false;
}

void TestCallerCredentials::takesWhatTheBusSays()
{
    QFETCH(QVariantMap, answer);
    QFETCH(bool, groups);
    QFETCH(bool, process);

    LoneBus bus;
    bus.answer = answer;
    QVERIFY(bus.listen());
    const auto credentials = bus.ask(
        [](const QDBusConnection &connection) { return credentialsOf(u":1.1"_s, connection); });
    QVERIFY(credentials);
    QCOMPARE(credentials->uid, 7U);
    QCOMPARE(credentials->gids.has_value(), groups);
    QCOMPARE(credentials->gids.value_or(QVector<uint>{8, 9}), QVector<uint>({8, 9}));
    QCOMPARE(credentials->pid.has_value(), process);
    QCOMPARE(credentials->pid.value_or(10U), 10U);
}

void TestCallerCredentials::takesNothingOdd_data()
{
    QTest::addColumn<QVariantMap>("answer");

    QTest::newRow("no user") << answerWith("UnixUserID", {});
    QTest::newRow("user as text") << answerWith("UnixUserID", u"0"_s);
    QTest::newRow("user with a sign") << answerWith("UnixUserID", 0);
    QTest::newRow("user in 64 bits") << answerWith("UnixUserID", qulonglong(0));
    QTest::newRow("process with a sign") << answerWith("ProcessID", 10);
    QTest::newRow("one group") << answerWith("UnixGroupIDs", 8U);
    QTest::newRow("groups as text") << answerWith("UnixGroupIDs", QStringList{u"8"_s});
    QTest::newRow("groups of variants") << answerWith("UnixGroupIDs", QVariantList{8U});
    QTest::newRow("an error") << QVariantMap();
}

void TestCallerCredentials::takesNothingOdd()
{
    QFETCH(QVariantMap, answer);

    LoneBus bus;
    bus.answer = answer;
    QVERIFY(bus.listen());
    QVERIFY(!bus.ask(
        [](const QDBusConnection &connection) { return credentialsOf(u":1.1"_s, connection); }));
}

int main(int argc, char *argv[]) { runTestAndExit<TestCallerCredentials>(argc, argv); }
#include "tst_caller_credentials.moc"

// Autostart over the bus: who may switch it, what is answered, what counts as activity.

#include "component/bus_programs.h"

#include <QDBusError>
#include <QDBusMessage>
#include <QDBusPendingCall>

#include <unistd.h>

class TestAutostart : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void refusesArgumentsInWords_data();
    void refusesArgumentsInWords();
    void refusesAnUnprivilegedCallerBeforeLookingAtTheArguments();
    void refusesACallerWhoseProcessIsGone();
    void anybodyMayReadAnybodysList();
    void rootMaySwitchForOneUserAndForAll();
    void admitsRealCallersByTheirGroups_data();
    void admitsRealCallersByTheirGroups();
    void skipsTheCheckOnlyWhenToldExactlySo_data();
    void skipsTheCheckOnlyWhenToldExactlySo();
    void saysWhoseSettingCouldNotBeStored_data();
    void saysWhoseSettingCouldNotBeStored();
    void saysThatItCouldNotReadTheSettings();
    void survivesACallThatWantsNoReply();
    void aCallStartsTheIdleTimeAnew();
    void describesItself();

private:
    bool startDaemon();
    QDBusMessage call(const QString &method, const QVariantList &arguments) const;
    QDBusMessage setEnabled(int uid, const QString &application, bool value) const
    {
        return call(QStringLiteral("SetEnabled"), {uid, application, value});
    }
    bool ownCaller(uid_t uid, gid_t gid) const;

    std::unique_ptr<PrivateBus> m_bus;
    std::unique_ptr<TestRoot> m_root;
    std::unique_ptr<Program> m_daemon;
};

namespace {

const QString accessDenied = QStringLiteral("org.freedesktop.DBus.Error.AccessDenied");
const QString invalidArgs = QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs");
const QString internalError = QStringLiteral("org.qtproject.QtDBus.Error.InternalError");
const QString client = QStringLiteral("client");
const QString app = QStringLiteral("a.b");

// The arguments of dbus-send.
QStringList setEnabledArguments(const QString &address)
{
    return {QStringLiteral("--bus=") + address,
            QStringLiteral("--print-reply"),
            QStringLiteral("--dest=org.zarn.Orvane"),
            QStringLiteral("/org/zarn/am"),
            QStringLiteral("org.zarn.am.Autostart.SetEnabled"),
            QStringLiteral("int32:100000"),
            QStringLiteral("string:a.b"),
            QStringLiteral("boolean:true")};
}

} // namespace

void TestAutostart::init()
{
    m_bus = std::make_unique<PrivateBus>();
    QVERIFY(m_bus->start());
    m_root = std::make_unique<TestRoot>(m_bus->address());
    QVERIFY(m_bus->connect(client).isConnected());
    QVERIFY(ownCaller(0, 0));
}

void TestAutostart::cleanup()
{
    m_daemon.reset();
    QDBusConnection::disconnectFromBus(client);
    m_root.reset();
    m_bus.reset();
}

bool TestAutostart::startDaemon()
{
    m_daemon = std::make_unique<Program>(*m_root, QStringLiteral(ORVANE_BINARY));
    return waitForName(m_bus->connect(client), QStringLiteral("org.zarn.Orvane"));
}

QDBusMessage TestAutostart::call(const QString &method, const QVariantList &arguments) const
{
    QDBusMessage message = QDBusMessage::createMethodCall(
        QStringLiteral("org.zarn.Orvane"), QStringLiteral("/org/zarn/am"),
        QStringLiteral("org.zarn.am.Autostart"), method);
    message.setArguments(arguments);
    return m_bus->connect(client).call(message);
}

// Makes this process belong to a user and a group, as the daemon sees it: it looks callers up in
// /proc below its root.
bool TestAutostart::ownCaller(uid_t uid, gid_t gid) const
{
    const QString process =
        m_root->path(QStringLiteral("proc/%1").arg(QCoreApplication::applicationPid()));
    return QDir().mkpath(process) && ::chown(QFile::encodeName(process).constData(), uid, gid) == 0;
}

void TestAutostart::refusesArgumentsInWords_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QVariantList>("arguments");
    QTest::addColumn<QString>("error");
    QTest::addColumn<QString>("message");

    const QString get = QStringLiteral("GetEnabled");
    const QString notSupported = QStringLiteral("org.freedesktop.DBus.Error.NotSupported");
    QTest::newRow("reading all users")
        << get << QVariantList{-1} << notSupported
        << QStringLiteral("GetEnabled() method does not support UID -1 (all users)");
    QTest::newRow("reading a negative user")
        << get << QVariantList{-2} << invalidArgs << QStringLiteral("UID cannot be less than 0");
    QTest::newRow("reading the least user") << get << QVariantList{-2147483647 - 1} << invalidArgs
                                            << QStringLiteral("UID cannot be less than 0");
    QTest::newRow("switching for a negative user")
        << QStringLiteral("SetEnabled") << QVariantList{-2, app, true} << invalidArgs
        << QStringLiteral("UID cannot be less than -1");
    QTest::newRow("switching no application")
        << QStringLiteral("SetEnabled") << QVariantList{100000, QStringLiteral("a b"), true}
        << internalError
        << QStringLiteral("Failed to set autostart value for user with UID 100000");
}

void TestAutostart::refusesArgumentsInWords()
{
    QFETCH(QString, method);
    QFETCH(QVariantList, arguments);
    QFETCH(QString, error);
    QFETCH(QString, message);

    QVERIFY(startDaemon());
    const QDBusMessage reply = call(method, arguments);
    QCOMPARE(reply.errorName(), error);
    QCOMPARE(reply.errorMessage(), message);
}

void TestAutostart::refusesAnUnprivilegedCallerBeforeLookingAtTheArguments()
{
    if (!ownCaller(65534, 65534))
        QSKIP("only root can give files away");
    QVERIFY(startDaemon());
    for (const int uid : {-5, -1, 100000}) {
        const QDBusMessage reply = setEnabled(uid, QStringLiteral("a b"), true);
        QCOMPARE(reply.errorName(), accessDenied);
        QCOMPARE(reply.errorMessage(), QString());
    }
    QVERIFY(!m_daemon->log().contains("Invalid application ID"));
    QVERIFY(!QFileInfo::exists(m_root->runtime(QString())));
}

void TestAutostart::refusesACallerWhoseProcessIsGone()
{
    QVERIFY(QDir(m_root->path(QStringLiteral("proc"))).removeRecursively());
    QVERIFY(startDaemon());
    QCOMPARE(setEnabled(100000, app, true).errorName(), accessDenied);
}

void TestAutostart::anybodyMayReadAnybodysList()
{
    if (!ownCaller(65534, 65534))
        QSKIP("only root can give files away");
    QVERIFY(m_root->write(QStringLiteral("etc/am/conf.d/x.conf"),
                          "[c.d]\nautostart=true\n[a.b%7C100000]\nautostart=true\n"));
    QVERIFY(startDaemon());
    const QDBusMessage reply = call(QStringLiteral("GetEnabled"), {100000});
    QCOMPARE(reply.signature(), QStringLiteral("as"));
    QStringList ids = reply.arguments().constFirst().toStringList();
    ids.sort();
    QCOMPARE(ids, QStringList({app, QStringLiteral("c.d")}));
    QCOMPARE(call(QStringLiteral("GetEnabled"), {0}).arguments().constFirst().toStringList(),
             QStringList{QStringLiteral("c.d")});
}

void TestAutostart::rootMaySwitchForOneUserAndForAll()
{
    QVERIFY(startDaemon());
    const QDBusMessage reply = setEnabled(100000, app, false);
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    QCOMPARE(reply.signature(), QString());
    QCOMPARE(m_root->read(QStringLiteral("var/lib/am/apps/a.b/100000.conf")),
             QByteArray("[a.b%7C100000]\nautostart=false\n"));

    QCOMPARE(setEnabled(-1, app, true).type(), QDBusMessage::ReplyMessage);
    QCOMPARE(QDir(m_root->runtime(app)).entryList(QDir::Files),
             QStringList{QStringLiteral("all-users.conf")});
    QCOMPARE(call(QStringLiteral("GetEnabled"), {100000}).arguments().constFirst().toStringList(),
             QStringList{app});
}

void TestAutostart::admitsRealCallersByTheirGroups_data()
{
    QTest::addColumn<int>("uid");
    QTest::addColumn<int>("gid");
    QTest::addColumn<bool>("admitted");

    QTest::newRow("root") << 0 << 0 << true;
    QTest::newRow("primary group in the user database") << 1 << 1 << true;
    QTest::newRow("member of the group") << 2 << 2 << true;
    QTest::newRow("group of the process") << 3 << 4242 << true;
    QTest::newRow("outsider") << 3 << 3 << false;
    QTest::newRow("unknown user") << 6 << 3 << false;
    QTest::newRow("group of root") << 3 << 0 << false;
}

void TestAutostart::admitsRealCallersByTheirGroups()
{
    QFETCH(int, uid);
    QFETCH(int, gid);
    QFETCH(bool, admitted);

    // The daemon gets the real /proc below its root and a user database of its own. The callers are
    // users that every Debian has, because the bus refuses others.
    QVERIFY(QDir(m_root->path(QStringLiteral("proc"))).removeRecursively());
    QVERIFY(QFile::link(QStringLiteral("/proc"), m_root->path(QStringLiteral("proc"))));
    QVERIFY(m_root->write(QStringLiteral("passwd"),
                          "root:x:0:0::/:/bin/sh\nprimary:x:1:4242::/:/bin/sh\n"
                          "member:x:2:2::/:/bin/sh\noutsider:x:3:3::/:/bin/sh\n"));
    QVERIFY(m_root->write(QStringLiteral("group"),
                          "root:x:0:\nmember:x:2:\noutsider:x:3:\n"
                          "privileged:x:4242:somebody,member\n"));
    m_daemon = std::make_unique<Program>(
        *m_root, QStringLiteral("unshare"),
        QStringList{QStringLiteral("--mount"), QStringLiteral("sh"), QStringLiteral("-c"),
                    QStringLiteral("mount --bind \"$1\" /etc/passwd && "
                                   "mount --bind \"$2\" /etc/group && exec \"$3\""),
                    QStringLiteral("sh"), m_root->path(QStringLiteral("passwd")),
                    m_root->path(QStringLiteral("group")), QStringLiteral(ORVANE_BINARY)});
    QTRY_VERIFY(m_daemon->process.state() == QProcess::NotRunning
                || m_bus->connect(client).interface()->isServiceRegistered(
                    QStringLiteral("org.zarn.Orvane")));
    if (m_daemon->log().contains("unshare") || m_daemon->log().contains("mount: "))
        QSKIP("needs root and mount namespaces");

    Program caller(*m_root, QStringLiteral("setpriv"),
                   QStringList{QStringLiteral("--reuid=%1").arg(uid),
                               QStringLiteral("--regid=%1").arg(gid),
                               QStringLiteral("--clear-groups"), QStringLiteral("dbus-send")}
                       + setEnabledArguments(m_bus->address()));
    QVERIFY(caller.ended());
    QCOMPARE(caller.process.exitCode() == 0, admitted);
    if (!admitted)
        QVERIFY2(caller.log().startsWith("Error " + accessDenied.toLatin1()), caller.log());
    QCOMPARE(QFileInfo::exists(m_root->runtime(QStringLiteral("a.b/100000.conf"))), admitted);
}

void TestAutostart::skipsTheCheckOnlyWhenToldExactlySo_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<bool>("admitted");

    QTest::newRow("1") << QStringLiteral("1") << true;
    QTest::newRow("true") << QStringLiteral("true") << false;
    QTest::newRow("0") << QStringLiteral("0") << false;
    QTest::newRow("empty") << QStringLiteral("") << false;
}

void TestAutostart::skipsTheCheckOnlyWhenToldExactlySo()
{
    QFETCH(QString, value);
    QFETCH(bool, admitted);

    if (!ownCaller(65534, 65534))
        QSKIP("only root can give files away");
    m_root->environment.insert(QStringLiteral("ORVANE_SKIP_AUTHENTICATION"), value);
    QVERIFY(startDaemon());
    QCOMPARE(setEnabled(-5, app, true).errorName(), admitted ? invalidArgs : accessDenied);
    QCOMPARE(setEnabled(5, app, true).errorName(), admitted ? QString() : accessDenied);
}

void TestAutostart::saysWhoseSettingCouldNotBeStored_data()
{
    QTest::addColumn<int>("uid");
    QTest::addColumn<QString>("whose");

    QTest::newRow("one user") << 100000 << QStringLiteral("user with UID 100000");
    QTest::newRow("root") << 0 << QStringLiteral("user with UID 0");
    QTest::newRow("all users") << -1 << QStringLiteral("all users");
}

void TestAutostart::saysWhoseSettingCouldNotBeStored()
{
    QFETCH(int, uid);
    QFETCH(QString, whose);

    QVERIFY(m_root->write(QStringLiteral("var/lib/am/apps/a.b"), "in the way"));
    QVERIFY(startDaemon());
    const QDBusMessage reply = setEnabled(uid, app, true);
    QCOMPARE(reply.errorName(), internalError);
    QCOMPARE(reply.errorMessage(), QStringLiteral("Failed to set autostart value for ") + whose);
    QTRY_VERIFY(m_daemon->log().contains("couldn't create base directory \""
                                         + m_root->runtime(app).toUtf8() + "\" for \""));
}

void TestAutostart::saysThatItCouldNotReadTheSettings()
{
    QVERIFY(startDaemon());
    QVERIFY(setEnabled(100000, app, true).type() == QDBusMessage::ReplyMessage);
    // A folder that nobody can open, not even root.
    const QString folder = m_root->path(QStringLiteral("etc/am/conf.d"));
    QVERIFY(QDir().mkpath(QFileInfo(folder).path()) && QFile::link(folder, folder));
    const QDBusMessage reply = call(QStringLiteral("GetEnabled"), {100000});
    QCOMPARE(reply.errorName(), internalError);
    QCOMPARE(reply.errorMessage(),
             QStringLiteral("Failed to read autostart values for user with UID 100000"));
    QVERIFY(QFile::remove(folder));
    QCOMPARE(call(QStringLiteral("GetEnabled"), {100000}).arguments().constFirst().toStringList(),
             QStringList(app));
}

void TestAutostart::survivesACallThatWantsNoReply()
{
    QVERIFY(startDaemon());
    QDBusMessage message = QDBusMessage::createMethodCall(
        QStringLiteral("org.zarn.Orvane"), QStringLiteral("/org/zarn/am"),
        QStringLiteral("org.zarn.am.Autostart"), QStringLiteral("SetEnabled"));
    for (const int uid : {-5, 100000}) {
        message.setArguments({uid, app, true});
        QVERIFY(m_bus->connect(client).send(message));
    }
    QTRY_VERIFY(QFileInfo::exists(m_root->runtime(QStringLiteral("a.b/100000.conf"))));
    QCOMPARE(call(QStringLiteral("GetEnabled"), {100000}).type(), QDBusMessage::ReplyMessage);
}

void TestAutostart::aCallStartsTheIdleTimeAnew()
{
    const QString idleMs = QStringLiteral("1000");
    m_root->environment.insert(QStringLiteral("ORVANE_DAEMON_TIMEOUT"), idleMs);
    QVERIFY(startDaemon());
    UncalledDaemon uncalled(idleMs);
    while (!uncalled.leavesSoon()) {
        // Refused calls count too.
        QCOMPARE(call(QStringLiteral("GetEnabled"), {-1}).type(), QDBusMessage::ErrorMessage);
        QVERIFY(!m_daemon->process.waitForFinished(0));
    }
    QVERIFY(uncalled.wasFine());
    QVERIFY(m_daemon->ended());
    QCOMPARE(m_daemon->process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(m_daemon->process.exitCode(), 0);
}

void TestAutostart::describesItself()
{
    QVERIFY(startDaemon());
    const QDBusMessage introspection = m_bus->connect(client).call(QDBusMessage::createMethodCall(
        QStringLiteral("org.zarn.Orvane"), QStringLiteral("/org/zarn/am"),
        QStringLiteral("org.freedesktop.DBus.Introspectable"), QStringLiteral("Introspect")));
    const QString xml = introspection.arguments().constFirst().toString();
    QVERIFY(xml.contains(QLatin1String("<interface name=\"org.zarn.am.Autostart\">")));
    QVERIFY(xml.contains(QLatin1String("<arg name=\"uid\" type=\"i\" direction=\"in\"/>")));
    QVERIFY(xml.contains(QLatin1String("<arg name=\"application\" type=\"s\" direction=\"in\"/>")));
    QVERIFY(xml.contains(QLatin1String("<arg name=\"value\" type=\"b\" direction=\"in\"/>")));
    QVERIFY(!xml.contains(QLatin1String("isIdle")));
}

QTEST_GUILESS_MAIN(TestAutostart)
#include "tst_autostart.moc"

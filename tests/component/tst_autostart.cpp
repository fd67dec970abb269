// Autostart over the bus: who may switch it, what is answered, what counts as activity.

#include "component/bus_programs.h"
#include "support/literals.h"

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
        return call(u"SetEnabled"_s, {uid, application, value});
    }
    bool ownCaller(uid_t uid, gid_t gid) const;

    std::unique_ptr<PrivateBus> m_bus;
    std::unique_ptr<TestRoot> m_root;
    std::unique_ptr<Program> m_daemon;
};

namespace {

const QString accessDenied = u"org.freedesktop.DBus.Error.AccessDenied"_s;
const QString invalidArgs = u"org.freedesktop.DBus.Error.InvalidArgs"_s;
const QString internalError = u"org.qtproject.QtDBus.Error.InternalError"_s;
const QString client = u"client"_s;
const QString app = u"a.b"_s;

// The arguments of dbus-send.
QStringList setEnabledArguments(const QString &address)
{
    return {u"--bus="_s + address,
            u"--print-reply"_s,
            u"--dest=org.zarn.Orvane"_s,
            u"/org/zarn/am"_s,
            u"org.zarn.am.Autostart.SetEnabled"_s,
            u"int32:100000"_s,
            u"string:a.b"_s,
            u"boolean:true"_s};
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
    return waitForName(m_bus->connect(client), u"org.zarn.Orvane"_s);
}

QDBusMessage TestAutostart::call(const QString &method, const QVariantList &arguments) const
{
    QDBusMessage message = QDBusMessage::createMethodCall(u"org.zarn.Orvane"_s, u"/org/zarn/am"_s,
                                                          u"org.zarn.am.Autostart"_s, method);
    message.setArguments(arguments);
    return m_bus->connect(client).call(message);
}

// Makes this process belong to a user and a group, as the daemon sees it: it looks callers up in
// /proc below its root.
bool TestAutostart::ownCaller(uid_t uid, gid_t gid) const
{
    const QString process = m_root->path(u"proc/%1"_s.arg(QCoreApplication::applicationPid()));
    return QDir().mkpath(process) && ::chown(QFile::encodeName(process).constData(), uid, gid) == 0;
}

void TestAutostart::refusesArgumentsInWords_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QVariantList>("arguments");
    QTest::addColumn<QString>("error");
    QTest::addColumn<QString>("message");

    const QString get = u"GetEnabled"_s;
    const QString notSupported = u"org.freedesktop.DBus.Error.NotSupported"_s;
    QTest::newRow("reading all users")
        << get << QVariantList{-1} << notSupported
        << u"GetEnabled() method does not support UID -1 (all users)"_s;
    QTest::newRow("reading a negative user")
        << get << QVariantList{-2} << invalidArgs << u"UID cannot be less than 0"_s;
    QTest::newRow("reading the least user")
        << get << QVariantList{-2147483647 - 1} << invalidArgs << u"UID cannot be less than 0"_s;
    QTest::newRow("switching for a negative user")
        << u"SetEnabled"_s << QVariantList{-2, app, true} << invalidArgs
        << u"UID cannot be less than -1"_s;
    QTest::newRow("switching no application")
        << u"SetEnabled"_s << QVariantList{100000, u"a b"_s, true} << internalError
        << u"Failed to set autostart value for user with UID 100000"_s;
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
        const QDBusMessage reply = setEnabled(uid, u"a b"_s, true);
        QCOMPARE(reply.errorName(), accessDenied);
        QCOMPARE(reply.errorMessage(), QString());
    }
    QVERIFY(!m_daemon->log().contains("Invalid application ID"));
    QVERIFY(!QFileInfo::exists(m_root->runtime(QString())));
}

void TestAutostart::refusesACallerWhoseProcessIsGone()
{
    QVERIFY(QDir(m_root->path(u"proc"_s)).removeRecursively());
    QVERIFY(startDaemon());
    QCOMPARE(setEnabled(100000, app, true).errorName(), accessDenied);
}

void TestAutostart::anybodyMayReadAnybodysList()
{
    if (!ownCaller(65534, 65534))
        QSKIP("only root can give files away");
    QVERIFY(m_root->write(u"etc/am/conf.d/x.conf"_s,
                          "[c.d]\nautostart=true\n[a.b%7C100000]\nautostart=true\n"));
    QVERIFY(startDaemon());
    const QDBusMessage reply = call(u"GetEnabled"_s, {100000});
    QCOMPARE(reply.signature(), u"as"_s);
    QStringList ids = reply.arguments().constFirst().toStringList();
    ids.sort();
    QCOMPARE(ids, QStringList({app, u"c.d"_s}));
    QCOMPARE(call(u"GetEnabled"_s, {0}).arguments().constFirst().toStringList(),
             QStringList{u"c.d"_s});
}

void TestAutostart::rootMaySwitchForOneUserAndForAll()
{
    QVERIFY(startDaemon());
    const QDBusMessage reply = setEnabled(100000, app, false);
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    QCOMPARE(reply.signature(), QString());
    QCOMPARE(m_root->read(u"var/lib/am/apps/a.b/100000.conf"_s),
             QByteArray("[a.b%7C100000]\nautostart=false\n"));

    QCOMPARE(setEnabled(-1, app, true).type(), QDBusMessage::ReplyMessage);
    QCOMPARE(QDir(m_root->runtime(app)).entryList(QDir::Files), QStringList{u"all-users.conf"_s});
    QCOMPARE(call(u"GetEnabled"_s, {100000}).arguments().constFirst().toStringList(),
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
    QVERIFY(QDir(m_root->path(u"proc"_s)).removeRecursively());
    QVERIFY(QFile::link(u"/proc"_s, m_root->path(u"proc"_s)));
    QVERIFY(m_root->write(u"passwd"_s,
                          "root:x:0:0::/:/bin/sh\nprimary:x:1:4242::/:/bin/sh\n"
                          "member:x:2:2::/:/bin/sh\noutsider:x:3:3::/:/bin/sh\n"));
    QVERIFY(m_root->write(u"group"_s,
                          "root:x:0:\nmember:x:2:\noutsider:x:3:\n"
                          "privileged:x:4242:somebody,member\n"));
    m_daemon = std::make_unique<Program>(
        *m_root, u"unshare"_s,
        QStringList{u"--mount"_s, u"sh"_s, u"-c"_s,
                    u"mount --bind \"$1\" /etc/passwd && "
                    "mount --bind \"$2\" /etc/group && exec \"$3\""_s,
                    u"sh"_s, m_root->path(u"passwd"_s), m_root->path(u"group"_s),
                    QStringLiteral(ORVANE_BINARY)});
    QTRY_VERIFY(m_daemon->process.state() == QProcess::NotRunning
                || m_bus->connect(client).interface()->isServiceRegistered(u"org.zarn.Orvane"_s));
    if (m_daemon->log().contains("unshare") || m_daemon->log().contains("mount: "))
        QSKIP("needs root and mount namespaces");

    Program caller(*m_root, u"setpriv"_s,
                   QStringList{u"--reuid=%1"_s.arg(uid), u"--regid=%1"_s.arg(gid),
                               u"--clear-groups"_s, u"dbus-send"_s}
                       + setEnabledArguments(m_bus->address()));
    QVERIFY(caller.ended());
    QCOMPARE(caller.process.exitCode() == 0, admitted);
    if (!admitted)
        QVERIFY2(caller.log().startsWith("Error " + accessDenied.toLatin1()), caller.log());
    QCOMPARE(QFileInfo::exists(m_root->runtime(u"a.b/100000.conf"_s)), admitted);
}

void TestAutostart::skipsTheCheckOnlyWhenToldExactlySo_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<bool>("admitted");

    QTest::newRow("1") << u"1"_s << true;
    QTest::newRow("true") << u"true"_s << false;
    QTest::newRow("0") << u"0"_s << false;
    QTest::newRow("empty") << u""_s << false;
}

void TestAutostart::skipsTheCheckOnlyWhenToldExactlySo()
{
    QFETCH(QString, value);
    QFETCH(bool, admitted);

    if (!ownCaller(65534, 65534))
        QSKIP("only root can give files away");
    m_root->environment.insert(u"ORVANE_SKIP_AUTHENTICATION"_s, value);
    QVERIFY(startDaemon());
    QCOMPARE(setEnabled(-5, app, true).errorName(), admitted ? invalidArgs : accessDenied);
    QCOMPARE(setEnabled(5, app, true).errorName(), admitted ? QString() : accessDenied);
}

void TestAutostart::saysWhoseSettingCouldNotBeStored_data()
{
    QTest::addColumn<int>("uid");
    QTest::addColumn<QString>("whose");

    QTest::newRow("one user") << 100000 << u"user with UID 100000"_s;
    QTest::newRow("root") << 0 << u"user with UID 0"_s;
    QTest::newRow("all users") << -1 << u"all users"_s;
}

void TestAutostart::saysWhoseSettingCouldNotBeStored()
{
    QFETCH(int, uid);
    QFETCH(QString, whose);

    QVERIFY(m_root->write(u"var/lib/am/apps/a.b"_s, "in the way"));
    QVERIFY(startDaemon());
    const QDBusMessage reply = setEnabled(uid, app, true);
    QCOMPARE(reply.errorName(), internalError);
    QCOMPARE(reply.errorMessage(), u"Failed to set autostart value for "_s + whose);
    QTRY_VERIFY(m_daemon->log().contains("couldn't create base directory \""
                                         + m_root->runtime(app).toUtf8() + "\" for \""));
}

void TestAutostart::saysThatItCouldNotReadTheSettings()
{
    QVERIFY(startDaemon());
    QVERIFY(setEnabled(100000, app, true).type() == QDBusMessage::ReplyMessage);
    // A folder that nobody can open, not even root.
    const QString folder = m_root->path(u"etc/am/conf.d"_s);
    QVERIFY(QDir().mkpath(QFileInfo(folder).path()) && QFile::link(folder, folder));
    const QDBusMessage reply = call(u"GetEnabled"_s, {100000});
    QCOMPARE(reply.errorName(), internalError);
    QCOMPARE(reply.errorMessage(), u"Failed to read autostart values for user with UID 100000"_s);
    QVERIFY(QFile::remove(folder));
    QCOMPARE(call(u"GetEnabled"_s, {100000}).arguments().constFirst().toStringList(),
             QStringList(app));
}

void TestAutostart::survivesACallThatWantsNoReply()
{
    QVERIFY(startDaemon());
    QDBusMessage message = QDBusMessage::createMethodCall(
        u"org.zarn.Orvane"_s, u"/org/zarn/am"_s, u"org.zarn.am.Autostart"_s, u"SetEnabled"_s);
    for (const int uid : {-5, 100000}) {
        message.setArguments({uid, app, true});
        QVERIFY(m_bus->connect(client).send(message));
    }
    QTRY_VERIFY(QFileInfo::exists(m_root->runtime(u"a.b/100000.conf"_s)));
    QCOMPARE(call(u"GetEnabled"_s, {100000}).type(), QDBusMessage::ReplyMessage);
}

void TestAutostart::aCallStartsTheIdleTimeAnew()
{
    const QString idleMs = u"3000"_s;
    m_root->environment.insert(u"ORVANE_DAEMON_TIMEOUT"_s, idleMs);
    QVERIFY(startDaemon());
    UncalledDaemon uncalled(idleMs);
    while (!uncalled.leavesSoon()) {
        // Refused calls count too.
        QCOMPARE(call(u"GetEnabled"_s, {-1}).type(), QDBusMessage::ErrorMessage);
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
    const QDBusMessage introspection = m_bus->connect(client).call(
        QDBusMessage::createMethodCall(u"org.zarn.Orvane"_s, u"/org/zarn/am"_s,
                                       u"org.freedesktop.DBus.Introspectable"_s, u"Introspect"_s));
    const QString xml = introspection.arguments().constFirst().toString();
    QVERIFY(xml.contains(QLatin1String("<interface name=\"org.zarn.am.Autostart\">")));
    QVERIFY(xml.contains(QLatin1String("<arg name=\"uid\" type=\"i\" direction=\"in\"/>")));
    QVERIFY(xml.contains(QLatin1String("<arg name=\"application\" type=\"s\" direction=\"in\"/>")));
    QVERIFY(xml.contains(QLatin1String("<arg name=\"value\" type=\"b\" direction=\"in\"/>")));
    QVERIFY(!xml.contains(QLatin1String("isIdle")));
}

QTEST_GUILESS_MAIN(TestAutostart)
#include "tst_autostart.moc"

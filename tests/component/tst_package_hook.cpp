// The call that the package manager makes when it removes an application.

#include "component/bus_programs.h"
#include "component/immutable_path.h"
#include "support/literals.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingReply>
#include <QDBusVirtualObject>

/// systemd's listing record. (ssssssouso)
struct ListedUnit
{
    QString name;
};
Q_DECLARE_METATYPE(ListedUnit)

QDBusArgument &operator<<(QDBusArgument &argument, const ListedUnit &unit)
{
    argument.beginStructure();
    argument << unit.name << unit.name << u"loaded"_s << u"active"_s << u"running"_s << QString()
             << QDBusObjectPath(u"/org/freedesktop/systemd1/unit/x"_s) << 0U << QString()
             << QDBusObjectPath(u"/"_s);
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, ListedUnit &unit)
{
    argument.beginStructure();
    argument >> unit.name;
    argument.endStructure();
    return argument;
}

/// systemd's manager with some running units. Records what it is asked to do with them.
class Systemd : public QDBusVirtualObject
{
    Q_OBJECT

public:
    explicit Systemd(const QStringList &names)
    {
        qDBusRegisterMetaType<ListedUnit>();
        qDBusRegisterMetaType<QList<ListedUnit>>();
        for (const QString &name : names)
            m_units.append({name});
    }
    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &bus) override
    {
        const QString method = message.member();
        if (method == QLatin1String("ListUnitsByPatterns"))
            return bus.send(message.createReply(QVariant::fromValue(m_units)));
        if (method == QLatin1String("StopUnit"))
            stopped.append(message.arguments().constFirst().toString());
        if (method == QLatin1String("DisableUnitFiles"))
            disabled.append(message.arguments().constFirst().toStringList());
        if (method == QLatin1String("StopUnit"))
            return bus.send(message.createReply(QVariant::fromValue(QDBusObjectPath(u"/job/1"_s))));
        return bus.send(message.createReply());
    }

    QStringList stopped;
    QStringList disabled;

private:
    QList<ListedUnit> m_units;
};

class TestPackageHook : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void forgetsTheApplicationAndNoOther();
    void handsStrangeNamesOn_data();
    void handsStrangeNamesOn();
    void followsNoLinkOutOfTheStore();
    void reportsWhatCouldNotBeForgottenAndStopsTheTasks();
    void reportsAFileOfATaskThatStays();
    void aCallStartsTheIdleTimeAnew();

private:
    bool startDaemon();
    QDBusMessage onRemove(const QString &application) const;

    std::unique_ptr<PrivateBus> m_bus;
    std::unique_ptr<TestRoot> m_root;
    std::unique_ptr<Systemd> m_systemd;
    std::unique_ptr<Program> m_daemon;
};

namespace {

const QString client = u"client"_s;
const QString units = u"etc/systemd/system/"_s;
const QString notes = u"ov_task.a.b.task_sync.service"_s;
const QString longer = u"ov_task.a.bc.task_sync.service"_s;
const QString other = u"ov_task.c.d.task_sync.service"_s;

} // namespace

void TestPackageHook::init()
{
    m_bus = std::make_unique<PrivateBus>();
    QVERIFY(m_bus->start());
    m_root = std::make_unique<TestRoot>(m_bus->address());
    m_systemd = std::make_unique<Systemd>(QStringList({notes, longer, other}));
    QDBusConnection bus = m_bus->connect(client);
    QVERIFY(bus.registerVirtualObject(u"/org/freedesktop/systemd1"_s, m_systemd.get()));
    QVERIFY(bus.registerService(u"org.freedesktop.systemd1"_s));
    for (const QString &unit : {notes, longer, other})
        QVERIFY(m_root->write(units + unit, "[Service]\n"));
    for (const char *application : {"a.b", "a.bc", "c.d"})
        QVERIFY(m_root->write(u"var/lib/am/apps/%1/5.conf"_s.arg(QLatin1String(application)),
                              QByteArray("[") + application + "%7C5]\nautostart=true\n"));
}

void TestPackageHook::cleanup()
{
    m_daemon.reset();
    QDBusConnection::disconnectFromBus(client);
    m_systemd.reset();
    m_root.reset();
    m_bus.reset();
}

bool TestPackageHook::startDaemon()
{
    m_daemon = std::make_unique<Program>(*m_root, QStringLiteral(ORVANE_BINARY));
    return waitForName(m_bus->connect(client), u"org.zarn.Orvane"_s);
}

QDBusMessage TestPackageHook::onRemove(const QString &application) const
{
    QDBusMessage call =
        QDBusMessage::createMethodCall(u"org.zarn.Orvane"_s, u"/org/zarn/Teller/Hooks"_s,
                                       u"org.zarn.Teller.Hooks"_s, u"OnRemove"_s);
    call << application;
    const QDBusPendingCall reply = m_bus->connect(client).asyncCall(call);
    // The call does not block, because the stand-in for systemd is in this process.
    return QTest::qWaitFor([&] { return reply.isFinished(); }, 20000) ? reply.reply()
                                                                      : QDBusMessage();
}

void TestPackageHook::forgetsTheApplicationAndNoOther()
{
    QVERIFY(startDaemon());
    const QDBusMessage reply = onRemove(u"a.b"_s);
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    QCOMPARE(reply.signature(), QString());

    QTRY_VERIFY(!QFileInfo::exists(m_root->path(units + notes)));
    QTRY_COMPARE(m_systemd->stopped, QStringList{notes});
    QTRY_COMPARE(m_systemd->disabled, QStringList{notes});
    QVERIFY(!QFileInfo::exists(m_root->runtime(u"a.b"_s)));
    for (const QString &unit : {longer, other})
        QVERIFY(QFileInfo::exists(m_root->path(units + unit)));
    for (const char *application : {"a.bc/5.conf", "c.d/5.conf"})
        QVERIFY(QFileInfo::exists(m_root->runtime(QLatin1String(application))));
}

void TestPackageHook::handsStrangeNamesOn_data()
{
    QTest::addColumn<QString>("application");
    QTest::addColumn<QString>("gone");
    QTest::addColumn<QString>("left");

    QTest::newRow("unknown") << u"x.y"_s << u"var/lib/am/apps/x.y"_s
                             << u"var/lib/am/apps/a.b/5.conf"_s;
    QTest::newRow("empty") << QString() << u"var/lib/am/apps"_s << u"var/lib/am"_s;
    QTest::newRow("up") << u".."_s << u"var/lib/am"_s << u"var/lib"_s;
}

void TestPackageHook::handsStrangeNamesOn()
{
    QFETCH(QString, application);
    QFETCH(QString, gone);
    QFETCH(QString, left);

    QVERIFY(startDaemon());
    QCOMPARE(onRemove(application).type(), QDBusMessage::ReplyMessage);
    QVERIFY(!QFileInfo::exists(m_root->path(gone)));
    QVERIFY(QFileInfo::exists(m_root->path(left)));
    QCOMPARE(m_systemd->stopped, QStringList());
}

void TestPackageHook::followsNoLinkOutOfTheStore()
{
    QVERIFY(m_root->write(u"outside/sub/x"_s, "kept"));
    QVERIFY(QFile::link(m_root->path(u"outside"_s), m_root->runtime(u"link"_s)));
    QVERIFY(startDaemon());

    QCOMPARE(onRemove(u"link/sub"_s).errorName(), u"org.freedesktop.DBus.Error.Failed"_s);
    QCOMPARE(onRemove(u"link"_s).type(), QDBusMessage::ReplyMessage);
    QVERIFY(!QFileInfo(m_root->runtime(u"link"_s)).isSymLink());
    QCOMPARE(m_root->read(u"outside/sub/x"_s), QByteArray("kept"));
}

void TestPackageHook::reportsWhatCouldNotBeForgottenAndStopsTheTasks()
{
    const QString setting = m_root->runtime(u"a.b/5.conf"_s);
    MAKE_IMMUTABLE(setting);
    QVERIFY(startDaemon());
    const QDBusMessage reply = onRemove(u"a.b"_s);

    QCOMPARE(reply.errorName(), u"org.freedesktop.DBus.Error.Failed"_s);
    QCOMPARE(reply.errorMessage(), u"Failed to remove application a.b"_s);
    QTRY_COMPARE(m_systemd->stopped, QStringList{notes});
    QTRY_VERIFY(m_daemon->log().contains("from autostart\n"));
    const QByteArray log = m_daemon->log();
    QVERIFY2(log.contains("bool Autostart::Manager::cleanupUninstalledApplication(const QString&): "
                          "couldn't remove uninstalled application directory:  \""
                          + m_root->runtime(u"a.b"_s).toUtf8() + "\"\n"),
             log);
    QVERIFY2(log.contains("void TellerHooks::DBusInterface::OnRemove(const QString&): "
                          "Failed to remove application \"a.b\" from autostart\n"),
             log);
    QVERIFY2(!log.contains("from task manager"), log);
}

void TestPackageHook::reportsAFileOfATaskThatStays()
{
    QVERIFY(QFile::remove(m_root->path(units + notes)));
    QVERIFY(m_root->write(units + notes + u"/in-the-way"_s, "x"));
    QVERIFY(startDaemon());
    const QDBusMessage reply = onRemove(u"a.b"_s);
    QCOMPARE(reply.errorName(), u"org.freedesktop.DBus.Error.Failed"_s);
    QCOMPARE(reply.errorMessage(), u"Failed to remove application a.b"_s);
    QTRY_VERIFY(
        m_daemon->log().contains("Failed to remove application \"a.b\" from task manager\n"));
    const QByteArray log = m_daemon->log();
    QVERIFY2(log.contains("Could not remove file: \"" + m_root->path(units + notes).toUtf8()), log);
    QVERIFY2(!log.contains("from autostart"), log);
}

void TestPackageHook::aCallStartsTheIdleTimeAnew()
{
    const QString idleMs = u"3000"_s;
    m_root->environment.insert(u"ORVANE_DAEMON_TIMEOUT"_s, idleMs);
    QVERIFY(startDaemon());
    UncalledDaemon uncalled(idleMs);
    while (!uncalled.leavesSoon()) {
        QCOMPARE(onRemove(u"x.y"_s).type(), QDBusMessage::ReplyMessage);
        QVERIFY(!m_daemon->process.waitForFinished(0));
    }
    QVERIFY(uncalled.wasFine());
    QVERIFY(m_daemon->ended());
    QCOMPARE(m_daemon->process.exitCode(), 0);
}

QTEST_GUILESS_MAIN(TestPackageHook)
#include "tst_package_hook.moc"

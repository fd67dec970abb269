// "--launcher": what is started for a user, and by which service.

#include "component/bus_programs.h"
#include "support/literals.h"

#include <QDBusMessage>
#include <QDBusVirtualObject>

#include <unistd.h>

/// The service that launches applications. Records what it is asked for.
class Control : public QDBusVirtualObject
{
    Q_OBJECT

public:
    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &bus) override
    {
        if (message.interface() != QLatin1String("org.zarn.Orvane.Control1")
            || message.member() != QLatin1String("Start")
            || message.signature() != QLatin1String("s"))
            return false;
        const QString id = message.arguments().constFirst().toString();
        started.append(id);
        if (id.isEmpty() || id == QLatin1String("bad.app"))
            return bus.send(message.createErrorReply(QDBusError::Failed, u"No such application"_s));
        return bus.send(message.createReply());
    }

    QStringList started;
};

class TestLauncher : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void startsNothingWhenNothingIsEnabled();
    void startsApplicationsUnderTheNameOfTheirEntry();
    void asksWithAnEmptyIdWhenThereIsNoEntry_data();
    void asksWithAnEmptyIdWhenThereIsNoEntry();
    void goesOnAfterAFailure();
    void opensLinksWithTheUrlAsTheOnlyArgument_data();
    void opensLinksWithTheUrlAsTheOnlyArgument();
    void opensALinkOfWhichOnlyTheTypeIsRight();
    void reportsALinkThatCannotBeOpened();
    void reportsAStarterThatIsNotThere();
    void startsOnlyWhatThisUserWants();
    void isRecognisedByTheFirstArgument_data();
    void isRecognisedByTheFirstArgument();

private:
    bool writeEntry(const QString &id, const QByteArray &keys) const
    {
        return m_root->write(u"share/applications/%1.desktop"_s.arg(id),
                             "[Desktop Entry]\n" + keys);
    }
    bool enable(const QStringList &ids) const;
    /// Runs the launcher and waits for its end. Its log is then in m_log.
    bool launch(const QStringList &arguments = {u"--launcher"_s});
    QByteArrayList opened() const;

    std::unique_ptr<PrivateBus> m_bus;
    std::unique_ptr<TestRoot> m_root;
    std::unique_ptr<Control> m_control;
    QByteArray m_log;
};

namespace {

const QString service = u"service"_s;
const QByteArray launcherFunction = "static bool Autostart::Launcher::launchApplications(): ";

QByteArray applicationKeys(const QByteArray &organisation, const QByteArray &name)
{
    return "Type=Application\nName=App\nExec=app\n[X-Application]\nOrganizationName=" + organisation
        + "\nApplicationName=" + name + '\n';
}

} // namespace

void TestLauncher::init()
{
    m_bus = std::make_unique<PrivateBus>();
    QVERIFY(m_bus->start());
    m_root = std::make_unique<TestRoot>(m_bus->address());
    m_control = std::make_unique<Control>();
    QDBusConnection bus = m_bus->connect(service);
    QVERIFY(bus.registerVirtualObject(u"/org/zarn/Orvane/Control1"_s, m_control.get()));
    QVERIFY(bus.registerService(u"org.zarn.Orvane"_s));
    // Each call of xdg-open leaves a file with the arguments, each followed by a zero byte.
    QVERIFY(m_root->write(u"bin/xdg-open"_s,
                          "#!/bin/sh\nout=$(mktemp \"$ORVANE_ROOTFS/opened/XXXXXX.part\")\n"
                          "printf '%s\\0' \"$@\" > \"$out\"\nmv \"$out\" \"${out%.part}\"\n"));
    QVERIFY(QFile::setPermissions(m_root->path(u"bin/xdg-open"_s), QFile::Permissions(0x7755)));
    QVERIFY(QDir().mkpath(m_root->path(u"opened"_s)));
    m_root->environment.insert(u"PATH"_s, m_root->path(u"bin"_s) + u":/usr/bin:/bin"_s);
}

void TestLauncher::cleanup()
{
    QDBusConnection::disconnectFromBus(service);
    m_control.reset();
    m_root.reset();
    m_bus.reset();
}

bool TestLauncher::enable(const QStringList &ids) const
{
    QByteArray text;
    for (const QString &id : ids)
        text += '[' + id.toLatin1() + "]\nautostart=true\n";
    return m_root->write(u"etc/am/conf.d/x.conf"_s, text);
}

bool TestLauncher::launch(const QStringList &arguments)
{
    Program launcher(*m_root, QStringLiteral(ORVANE_BINARY), arguments);
    // The event loop has to run meanwhile, because the service that the launcher calls is in this
    // process.
    const bool ended =
        QTest::qWaitFor([&] { return launcher.process.state() == QProcess::NotRunning; }, 30000);
    m_log = launcher.log();
    return ended && launcher.process.exitStatus() == QProcess::NormalExit
        && launcher.process.exitCode() == 0;
}

QByteArrayList TestLauncher::opened() const
{
    QByteArrayList calls;
    const QDir directory(m_root->path(u"opened"_s));
    const QStringList names = directory.entryList(QDir::Files);
    for (const QString &name : names) {
        if (!name.endsWith(QLatin1String(".part")))
            calls.append(m_root->read(u"opened/"_s + name));
    }
    return calls;
}

void TestLauncher::startsNothingWhenNothingIsEnabled()
{
    QVERIFY(writeEntry(u"a.b"_s, applicationKeys("a", "b")));
    QVERIFY(launch());
    QCOMPARE(m_control->started, QStringList());
    QVERIFY2(!m_log.contains("launchApplications"), m_log);
}

void TestLauncher::startsApplicationsUnderTheNameOfTheirEntry()
{
    QVERIFY(enable({u"a.b"_s, u"c.d"_s}));
    QVERIFY(writeEntry(u"a.b"_s, applicationKeys("org.example", "Other")));
    QVERIFY(writeEntry(u"c.d"_s, applicationKeys("c", "d")));
    QVERIFY(launch());
    m_control->started.sort();
    QCOMPARE(m_control->started, QStringList({u"c.d"_s, u"org.example.Other"_s}));
    QVERIFY2(!m_log.contains("launchApplications"), m_log);
}

void TestLauncher::asksWithAnEmptyIdWhenThereIsNoEntry_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<QByteArray>("keys");

    QTest::newRow("no file") << u"a.b"_s << QByteArray();
    QTest::newRow("the pseudo application") << u"enabledMode"_s << QByteArray();
    QTest::newRow("no name") << u"a.b"_s << QByteArray("Type=Application\n");
    QTest::newRow("link in other letters")
        << u"a.b"_s << QByteArray("Type=link\nName=L\nURL=http://x/\n");
}

void TestLauncher::asksWithAnEmptyIdWhenThereIsNoEntry()
{
    QFETCH(QString, id);
    QFETCH(QByteArray, keys);

    QVERIFY(enable({id}));
    if (!keys.isEmpty())
        QVERIFY(writeEntry(id, keys));
    QVERIFY(launch());
    QCOMPARE(m_control->started, QStringList{QString()});
    QVERIFY2(m_log.contains(launcherFunction + "couldn't autostart: \"" + id.toLatin1()
                            + "\"  with the app ID of:  \"\"\n"),
             m_log);
}

void TestLauncher::goesOnAfterAFailure()
{
    QVERIFY(enable({u"a.b"_s, u"c.d"_s, u"e.f"_s}));
    QVERIFY(writeEntry(u"a.b"_s, applicationKeys("bad", "app")));
    QVERIFY(writeEntry(u"c.d"_s, "Type=Link\nName=L\nURL=http://x/\n"));
    QVERIFY(writeEntry(u"e.f"_s, applicationKeys("e", "f")));
    QVERIFY(launch());
    QCOMPARE(m_control->started, QStringList({u"bad.app"_s, u"e.f"_s}));
    QTRY_COMPARE(opened(), QByteArrayList{QByteArray("http://x/\0", 10)});
    QVERIFY2(m_log.contains(launcherFunction
                            + "couldn't autostart: \"a.b\"  with the app ID of:  \"bad.app\"\n"),
             m_log);
}

void TestLauncher::opensLinksWithTheUrlAsTheOnlyArgument_data()
{
    QTest::addColumn<QByteArray>("url");

    QTest::newRow("plain") << QByteArray("https://example.org/");
    QTest::newRow("blanks") << QByteArray("https://example.org/a b  c");
    QTest::newRow("quotes") << QByteArray("https://example.org/\"a\" 'b'");
    QTest::newRow("shell") << QByteArray("https://example.org/$(reboot);`reboot`&|>x$HOME");
    QTest::newRow("percents") << QByteArray("https://example.org/%1%20%u%%");
    QTest::newRow("a leading dash") << QByteArray("--version");
    QTest::newRow("letters from abroad") << QByteArray("https://example.org/\xc3\xa9\xe2\x82\xac");
    QTest::newRow("none") << QByteArray("");
}

void TestLauncher::opensLinksWithTheUrlAsTheOnlyArgument()
{
    QFETCH(QByteArray, url);

    QVERIFY(enable({u"a.b"_s}));
    QVERIFY(writeEntry(u"a.b"_s, "Type=Link\nName=L\nURL=" + url + '\n'));
    QVERIFY(launch());
    QTRY_COMPARE(opened(), QByteArrayList{url + '\0'});
    QCOMPARE(m_control->started, QStringList());
    QVERIFY2(!m_log.contains("launchApplications"), m_log);
}

void TestLauncher::opensALinkOfWhichOnlyTheTypeIsRight()
{
    QVERIFY(enable({u"a.b"_s}));
    QVERIFY(writeEntry(u"a.b"_s, "Type=Link\nURL=http://x/\n"));
    QVERIFY(launch());
    QTRY_COMPARE(opened(), QByteArrayList{QByteArray("http://x/\0", 10)});
}

void TestLauncher::reportsALinkThatCannotBeOpened()
{
    QVERIFY(enable({u"a.b"_s, u"c.d"_s}));
    QVERIFY(writeEntry(u"a.b"_s, "Type=Link\nName=L\nURL=http://x/\n"));
    QVERIFY(writeEntry(u"c.d"_s, applicationKeys("c", "d")));
    m_root->environment.insert(u"PATH"_s, m_root->path(u"none"_s));
    QVERIFY(launch());
    QVERIFY2(m_log.contains(launcherFunction + "Failed to launch browser link:  \"http://x/\"\n"),
             m_log);
    QCOMPARE(m_control->started, QStringList{u"c.d"_s});
}

void TestLauncher::reportsAStarterThatIsNotThere()
{
    QVERIFY(enable({u"c.d"_s}));
    QVERIFY(writeEntry(u"c.d"_s, applicationKeys("c", "d")));
    QVERIFY(m_bus->connect(service).unregisterService(u"org.zarn.Orvane"_s));
    QVERIFY(launch());
    QVERIFY2(m_log.contains("couldn't autostart: \"c.d\"  with the app ID of:  \"c.d\"\n"), m_log);
}

void TestLauncher::startsOnlyWhatThisUserWants()
{
    const QByteArray uid = QByteArray::number(::getuid());
    QVERIFY(m_root->write(u"etc/am/conf.d/x.conf"_s,
                          "[a.b%7C" + uid
                              + "]\nautostart=true\n[c.d%7C77777]\nautostart=true\n"
                                "[e.f]\nautostart=true\n"));
    QVERIFY(m_root->write(u"var/lib/am/apps/e.f/%1.conf"_s.arg(QString::fromLatin1(uid)),
                          "[e.f%7C" + uid + "]\nautostart=false\n"));
    QVERIFY(writeEntry(u"a.b"_s, applicationKeys("a", "b")));
    QVERIFY(launch());
    QCOMPARE(m_control->started, QStringList{u"a.b"_s});
}

void TestLauncher::isRecognisedByTheFirstArgument_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<bool>("launches");

    const QString launcher = u"--launcher"_s;
    QTest::newRow("alone") << QStringList{launcher} << true;
    QTest::newRow("with a second one") << QStringList{launcher, u"x"_s} << true;
    QTest::newRow("in other letters") << QStringList{u"--Launcher"_s} << false;
    QTest::newRow("second") << QStringList{u"x"_s, launcher} << false;
    QTest::newRow("with a value") << QStringList{u"--launcher=1"_s} << false;
    QTest::newRow("single dash") << QStringList{u"-launcher"_s} << false;
}

void TestLauncher::isRecognisedByTheFirstArgument()
{
    QFETCH(QStringList, arguments);
    QFETCH(bool, launches);

    QVERIFY(enable({u"a.b"_s}));
    QVERIFY(writeEntry(u"a.b"_s, applicationKeys("a", "b")));
    m_root->environment.insert(u"ORVANE_DAEMON_TIMEOUT"_s, u"100"_s);
    if (launches) {
        QVERIFY(launch(arguments));
        QCOMPARE(m_control->started, QStringList{u"a.b"_s});
        return;
    }
    // The program is the daemon instead: it claims its name and launches nothing.
    m_root->environment.insert(u"ORVANE_DAEMON_TIMEOUT"_s, u"60000"_s);
    QDBusConnection bus = m_bus->connect(service);
    QVERIFY(bus.unregisterService(u"org.zarn.Orvane"_s));
    Program daemon(*m_root, QStringLiteral(ORVANE_BINARY), arguments);
    QVERIFY(waitForName(bus, u"org.zarn.Orvane"_s));
    QCOMPARE(m_control->started, QStringList());
}

QTEST_GUILESS_MAIN(TestLauncher)
#include "tst_launcher.moc"

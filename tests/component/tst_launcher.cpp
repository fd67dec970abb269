// "--launcher": what is started for a user, and by which service.

#include "component/bus_programs.h"

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
            return bus.send(message.createErrorReply(QDBusError::Failed,
                                                     QStringLiteral("No such application")));
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
        return m_root->write(QStringLiteral("share/applications/%1.desktop").arg(id),
                             "[Desktop Entry]\n" + keys);
    }
    bool enable(const QStringList &ids) const;
    /// Runs the launcher and waits for its end. Its log is then in m_log.
    bool launch(const QStringList &arguments = {QStringLiteral("--launcher")});
    QByteArrayList opened() const;

    std::unique_ptr<PrivateBus> m_bus;
    std::unique_ptr<TestRoot> m_root;
    std::unique_ptr<Control> m_control;
    QByteArray m_log;
};

namespace {

const QString service = QStringLiteral("service");
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
    QVERIFY(
        bus.registerVirtualObject(QStringLiteral("/org/zarn/Orvane/Control1"), m_control.get()));
    QVERIFY(bus.registerService(QStringLiteral("org.zarn.Orvane")));
    // Each call of xdg-open leaves a file with the arguments, each followed by a zero byte.
    QVERIFY(m_root->write(QStringLiteral("bin/xdg-open"),
                          "#!/bin/sh\nout=$(mktemp \"$ORVANE_ROOTFS/opened/XXXXXX.part\")\n"
                          "printf '%s\\0' \"$@\" > \"$out\"\nmv \"$out\" \"${out%.part}\"\n"));
    QVERIFY(QFile::setPermissions(m_root->path(QStringLiteral("bin/xdg-open")),
                                  QFile::Permissions(0x7755)));
    QVERIFY(QDir().mkpath(m_root->path(QStringLiteral("opened"))));
    m_root->environment.insert(QStringLiteral("PATH"),
                               m_root->path(QStringLiteral("bin"))
                                   + QStringLiteral(":/usr/bin:/bin"));
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
    return m_root->write(QStringLiteral("etc/am/conf.d/x.conf"), text);
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
    const QDir directory(m_root->path(QStringLiteral("opened")));
    const QStringList names = directory.entryList(QDir::Files);
    for (const QString &name : names) {
        if (!name.endsWith(QLatin1String(".part")))
            calls.append(m_root->read(QStringLiteral("opened/") + name));
    }
    return calls;
}

void TestLauncher::startsNothingWhenNothingIsEnabled()
{
    QVERIFY(writeEntry(QStringLiteral("a.b"), applicationKeys("a", "b")));
    QVERIFY(launch());
    QCOMPARE(m_control->started, QStringList());
    QVERIFY2(!m_log.contains("launchApplications"), m_log);
}

void TestLauncher::startsApplicationsUnderTheNameOfTheirEntry()
{
    QVERIFY(enable({QStringLiteral("a.b"), QStringLiteral("c.d")}));
    QVERIFY(writeEntry(QStringLiteral("a.b"), applicationKeys("org.example", "Other")));
    QVERIFY(writeEntry(QStringLiteral("c.d"), applicationKeys("c", "d")));
    QVERIFY(launch());
    m_control->started.sort();
    QCOMPARE(m_control->started,
             QStringList({QStringLiteral("c.d"), QStringLiteral("org.example.Other")}));
    QVERIFY2(!m_log.contains("launchApplications"), m_log);
}

void TestLauncher::asksWithAnEmptyIdWhenThereIsNoEntry_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<QByteArray>("keys");

    QTest::newRow("no file") << QStringLiteral("a.b") << QByteArray();
    QTest::newRow("the pseudo application") << QStringLiteral("enabledMode") << QByteArray();
    QTest::newRow("no name") << QStringLiteral("a.b") << QByteArray("Type=Application\n");
    QTest::newRow("link in other letters")
        << QStringLiteral("a.b") << QByteArray("Type=link\nName=L\nURL=http://x/\n");
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
    QVERIFY(enable({QStringLiteral("a.b"), QStringLiteral("c.d"), QStringLiteral("e.f")}));
    QVERIFY(writeEntry(QStringLiteral("a.b"), applicationKeys("bad", "app")));
    QVERIFY(writeEntry(QStringLiteral("c.d"), "Type=Link\nName=L\nURL=http://x/\n"));
    QVERIFY(writeEntry(QStringLiteral("e.f"), applicationKeys("e", "f")));
    QVERIFY(launch());
    QCOMPARE(m_control->started, QStringList({QStringLiteral("bad.app"), QStringLiteral("e.f")}));
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

    QVERIFY(enable({QStringLiteral("a.b")}));
    QVERIFY(writeEntry(QStringLiteral("a.b"), "Type=Link\nName=L\nURL=" + url + '\n'));
    QVERIFY(launch());
    QTRY_COMPARE(opened(), QByteArrayList{url + '\0'});
    QCOMPARE(m_control->started, QStringList());
    QVERIFY2(!m_log.contains("launchApplications"), m_log);
}

void TestLauncher::opensALinkOfWhichOnlyTheTypeIsRight()
{
    QVERIFY(enable({QStringLiteral("a.b")}));
    QVERIFY(writeEntry(QStringLiteral("a.b"), "Type=Link\nURL=http://x/\n"));
    QVERIFY(launch());
    QTRY_COMPARE(opened(), QByteArrayList{QByteArray("http://x/\0", 10)});
}

void TestLauncher::reportsALinkThatCannotBeOpened()
{
    QVERIFY(enable({QStringLiteral("a.b"), QStringLiteral("c.d")}));
    QVERIFY(writeEntry(QStringLiteral("a.b"), "Type=Link\nName=L\nURL=http://x/\n"));
    QVERIFY(writeEntry(QStringLiteral("c.d"), applicationKeys("c", "d")));
    m_root->environment.insert(QStringLiteral("PATH"), m_root->path(QStringLiteral("none")));
    QVERIFY(launch());
    QVERIFY2(m_log.contains(launcherFunction + "Failed to launch browser link:  \"http://x/\"\n"),
             m_log);
    QCOMPARE(m_control->started, QStringList{QStringLiteral("c.d")});
}

void TestLauncher::reportsAStarterThatIsNotThere()
{
    QVERIFY(enable({QStringLiteral("c.d")}));
    QVERIFY(writeEntry(QStringLiteral("c.d"), applicationKeys("c", "d")));
    QVERIFY(m_bus->connect(service).unregisterService(QStringLiteral("org.zarn.Orvane")));
    QVERIFY(launch());
    QVERIFY2(m_log.contains("couldn't autostart: \"c.d\"  with the app ID of:  \"c.d\"\n"), m_log);
}

void TestLauncher::startsOnlyWhatThisUserWants()
{
    const QByteArray uid = QByteArray::number(::getuid());
    QVERIFY(m_root->write(QStringLiteral("etc/am/conf.d/x.conf"),
                          "[a.b%7C" + uid
                              + "]\nautostart=true\n[c.d%7C77777]\nautostart=true\n"
                                "[e.f]\nautostart=true\n"));
    QVERIFY(
        m_root->write(QStringLiteral("var/lib/am/apps/e.f/%1.conf").arg(QString::fromLatin1(uid)),
                      "[e.f%7C" + uid + "]\nautostart=false\n"));
    QVERIFY(writeEntry(QStringLiteral("a.b"), applicationKeys("a", "b")));
    QVERIFY(launch());
    QCOMPARE(m_control->started, QStringList{QStringLiteral("a.b")});
}

void TestLauncher::isRecognisedByTheFirstArgument_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<bool>("launches");

    const QString launcher = QStringLiteral("--launcher");
    QTest::newRow("alone") << QStringList{launcher} << true;
    QTest::newRow("with a second one") << QStringList{launcher, QStringLiteral("x")} << true;
    QTest::newRow("in other letters") << QStringList{QStringLiteral("--Launcher")} << false;
    QTest::newRow("second") << QStringList{QStringLiteral("x"), launcher} << false;
    QTest::newRow("with a value") << QStringList{QStringLiteral("--launcher=1")} << false;
    QTest::newRow("single dash") << QStringList{QStringLiteral("-launcher")} << false;
}

void TestLauncher::isRecognisedByTheFirstArgument()
{
    QFETCH(QStringList, arguments);
    QFETCH(bool, launches);

    QVERIFY(enable({QStringLiteral("a.b")}));
    QVERIFY(writeEntry(QStringLiteral("a.b"), applicationKeys("a", "b")));
    m_root->environment.insert(QStringLiteral("ORVANE_DAEMON_TIMEOUT"), QStringLiteral("100"));
    if (launches) {
        QVERIFY(launch(arguments));
        QCOMPARE(m_control->started, QStringList{QStringLiteral("a.b")});
        return;
    }
    // The program is the daemon instead: it claims its name and launches nothing.
    m_root->environment.insert(QStringLiteral("ORVANE_DAEMON_TIMEOUT"), QStringLiteral("60000"));
    QDBusConnection bus = m_bus->connect(service);
    QVERIFY(bus.unregisterService(QStringLiteral("org.zarn.Orvane")));
    Program daemon(*m_root, QStringLiteral(ORVANE_BINARY), arguments);
    QVERIFY(waitForName(bus, QStringLiteral("org.zarn.Orvane")));
    QCOMPARE(m_control->started, QStringList());
}

QTEST_GUILESS_MAIN(TestLauncher)
#include "tst_launcher.moc"

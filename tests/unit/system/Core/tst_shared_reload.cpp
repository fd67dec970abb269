#include "fakes/fake_systemd.h"
#include "support/private_bus.h"
#include "system/Core/shared_reload.h"
#include "system/Core/systemd_proxy.h"

#include <QTest>

using Core::SharedReload;

class TestSharedReload : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void reloadsForASingleStart();
    void sharesTheReloadOfWhatIsAskedMeanwhile();
    void reloadsAgainForEachThatWaitsItsTurn();
    void continuesWhenTheReloadIsRefused();
    void continuesWhenTheReloadIsNotAnswered();
    void sendsWhatWaitsWhenTold();

private:
    static constexpr int timeoutMs = 30000;
    // Requests the start of a unit after a reload.
    void start(const char *unit) const
    {
        reload->run([this, unit] {
            systemd->startUnit(QString::fromLatin1(unit), QStringLiteral("replace"),
                               [](const QString &, const Core::Error &) {});
        });
    }
    // The calls to systemd except the subscription; "R" is a reload.
    [[nodiscard]] QString asked() const
    {
        QStringList words;
        for (const QDBusMessage &call : qAsConst(fake->calls)) {
            if (call.member() == QLatin1String("Reload"))
                words.append(QStringLiteral("R"));
            else if (call.member() == QLatin1String("StartUnit"))
                words.append(call.arguments().constFirst().toString());
        }
        return words.join(QLatin1Char(' '));
    }

    PrivateBus bus;
    QDBusConnection fakeBus{QString()};
    std::unique_ptr<FakeSystemd> fake;
    std::unique_ptr<Core::SystemdProxy> systemd;
    std::unique_ptr<SharedReload> reload;
};

void TestSharedReload::initTestCase()
{
    QVERIFY(bus.start());
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", bus.address().toUtf8());
    fakeBus = bus.connect(QStringLiteral("systemd"));
}

void TestSharedReload::init()
{
    fake = std::make_unique<FakeSystemd>(fakeBus);
    systemd = std::make_unique<Core::SystemdProxy>();
    reload = std::make_unique<SharedReload>(*systemd);
}

void TestSharedReload::cleanup()
{
    reload.reset();
    systemd.reset();
    fake.reset();
}

void TestSharedReload::reloadsForASingleStart()
{
    start("a");
    QTRY_COMPARE_WITH_TIMEOUT(asked(), QStringLiteral("R a"), timeoutMs);
}

void TestSharedReload::sharesTheReloadOfWhatIsAskedMeanwhile()
{
    fake->hold(QStringLiteral("Reload"));
    for (const char *unit : {"a", "b", "c", "d"})
        start(unit);
    QTRY_COMPARE_WITH_TIMEOUT(asked(), QStringLiteral("R a"), timeoutMs);
    fake->release(QStringLiteral("Reload"));
    QTRY_COMPARE_WITH_TIMEOUT(asked(), QStringLiteral("R a R b c d"), timeoutMs);
}

void TestSharedReload::reloadsAgainForEachThatWaitsItsTurn()
{
    fake->hold(QStringLiteral("Reload"));
    start("a");
    start("b");
    QTRY_COMPARE_WITH_TIMEOUT(asked(), QStringLiteral("R a"), timeoutMs);
    fake->release(QStringLiteral("Reload"));
    fake->hold(QStringLiteral("Reload"));
    QTRY_COMPARE_WITH_TIMEOUT(asked(), QStringLiteral("R a R b"), timeoutMs);
    // Its file did not exist when the second reload was requested.
    start("c");
    fake->release(QStringLiteral("Reload"));
    QTRY_COMPARE_WITH_TIMEOUT(asked(), QStringLiteral("R a R b R c"), timeoutMs);
}

void TestSharedReload::continuesWhenTheReloadIsRefused()
{
    fake->refuse(QStringLiteral("Reload"), QStringLiteral("org.example.No"), QString());
    start("a");
    start("b");
    QTRY_COMPARE_WITH_TIMEOUT(asked(), QStringLiteral("R a R b"), timeoutMs);
}

void TestSharedReload::continuesWhenTheReloadIsNotAnswered()
{
    reload = std::make_unique<SharedReload>(*systemd, std::chrono::milliseconds(200));
    fake->hold(QStringLiteral("Reload"));
    start("a");
    start("b");
    QTRY_COMPARE_WITH_TIMEOUT(asked(), QStringLiteral("R a R b"), timeoutMs);
}

void TestSharedReload::sendsWhatWaitsWhenTold()
{
    fake->hold(QStringLiteral("Reload"));
    reload->sendWaiting();
    start("a");
    start("b");
    reload->sendWaiting();
    start("c");
    QTRY_COMPARE_WITH_TIMEOUT(asked(), QStringLiteral("R a R b"), timeoutMs);
    fake->release(QStringLiteral("Reload"));
    QTRY_COMPARE_WITH_TIMEOUT(asked(), QStringLiteral("R a R b R c"), timeoutMs);
}

QTEST_GUILESS_MAIN(TestSharedReload)
#include "tst_shared_reload.moc"

#include "fakes/fake_systemd.h"
#include "support/literals.h"
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
            systemd->startUnit(QString::fromLatin1(unit), u"replace"_s,
                               [](const QString &, const Core::Error &) {});
        });
    }
    // The calls to systemd except the subscription; "R" is a reload.
    [[nodiscard]] QString asked() const
    {
        QStringList words;
        for (const QDBusMessage &call : qAsConst(fake->calls)) {
            if (call.member() == QLatin1String("Reload"))
                words.append(u"R"_s);
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
    fakeBus = bus.connect(u"systemd"_s);
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
    QTRY_COMPARE_WITH_TIMEOUT(asked(), u"R a"_s, timeoutMs);
}

void TestSharedReload::sharesTheReloadOfWhatIsAskedMeanwhile()
{
    fake->hold(u"Reload"_s);
    for (const char *unit : {"a", "b", "c", "d"})
        start(unit);
    QTRY_COMPARE_WITH_TIMEOUT(asked(), u"R a"_s, timeoutMs);
    fake->release(u"Reload"_s);
    QTRY_COMPARE_WITH_TIMEOUT(asked(), u"R a R b c d"_s, timeoutMs);
}

void TestSharedReload::reloadsAgainForEachThatWaitsItsTurn()
{
    fake->hold(u"Reload"_s);
    start("a");
    start("b");
    QTRY_COMPARE_WITH_TIMEOUT(asked(), u"R a"_s, timeoutMs);
    fake->release(u"Reload"_s);
    fake->hold(u"Reload"_s);
    QTRY_COMPARE_WITH_TIMEOUT(asked(), u"R a R b"_s, timeoutMs);
    // Its file did not exist when the second reload was requested.
    start("c");
    fake->release(u"Reload"_s);
    QTRY_COMPARE_WITH_TIMEOUT(asked(), u"R a R b R c"_s, timeoutMs);
}

void TestSharedReload::continuesWhenTheReloadIsRefused()
{
    fake->refuse(u"Reload"_s, u"org.example.No"_s, QString());
    start("a");
    start("b");
    QTRY_COMPARE_WITH_TIMEOUT(asked(), u"R a R b"_s, timeoutMs);
}

void TestSharedReload::continuesWhenTheReloadIsNotAnswered()
{
    reload = std::make_unique<SharedReload>(*systemd, std::chrono::milliseconds(200));
    fake->hold(u"Reload"_s);
    start("a");
    start("b");
    QTRY_COMPARE_WITH_TIMEOUT(asked(), u"R a R b"_s, timeoutMs);
}

void TestSharedReload::sendsWhatWaitsWhenTold()
{
    fake->hold(u"Reload"_s);
    reload->sendWaiting();
    start("a");
    start("b");
    reload->sendWaiting();
    start("c");
    QTRY_COMPARE_WITH_TIMEOUT(asked(), u"R a R b"_s, timeoutMs);
    fake->release(u"Reload"_s);
    QTRY_COMPARE_WITH_TIMEOUT(asked(), u"R a R b R c"_s, timeoutMs);
}

QTEST_GUILESS_MAIN(TestSharedReload)
#include "tst_shared_reload.moc"

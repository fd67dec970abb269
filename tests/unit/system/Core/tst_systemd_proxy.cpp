#include "fakes/fake_systemd.h"
#include "support/literals.h"
#include "support/private_bus.h"
#include "system/Core/systemd_proxy.h"

#include <QDBusConnectionInterface>
#include <QSignalSpy>
#include <QTest>

using Core::SystemdProxy;

class TestSystemdProxy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void watchesAUnitOnce();
    void watchesAStoppingUnitUntilTheAnswer();
    void keepsNothingOfUnitsThatWereOnlyStopped();
    void keepsWatchingAStartedUnitThatIsStopped();
    void givesTheMainProcessOfAUnit_data();
    void givesTheMainProcessOfAUnit();
    void subscribesAgainWhenSystemdIsAnotherProcess();
    void followsTheUnitsOfWhicheverProcessIsSystemd_data();
    void followsTheUnitsOfWhicheverProcessIsSystemd();
    void tellsAFailedListingFromAnEmptyOne_data();
    void tellsAFailedListingFromAnEmptyOne();

private:
    static constexpr int timeoutMs = 30000;
    void stop(const QString &name)
    {
        proxy->stopUnit(name, u"replace"_s,
                        [this](const QString &, const Core::Error &) { ++answers; });
    }

    const QString unit = u"web-1.service"_s;
    PrivateBus bus;
    QDBusConnection fakeBus{QString()};
    std::unique_ptr<FakeSystemd> fake;
    std::unique_ptr<SystemdProxy> proxy;
    int answers = 0;
};

void TestSystemdProxy::initTestCase()
{
    QVERIFY(bus.start());
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", bus.address().toUtf8());
    fakeBus = bus.connect(u"systemd"_s);
}

void TestSystemdProxy::init()
{
    answers = 0;
    fake = std::make_unique<FakeSystemd>(fakeBus);
    proxy = std::make_unique<SystemdProxy>();
}

void TestSystemdProxy::cleanup()
{
    proxy.reset();
    fake.reset();
}

void TestSystemdProxy::watchesAUnitOnce()
{
    proxy->watchUnit(unit);
    proxy->watchUnit(unit);
    QCOMPARE(proxy->watchedUnits(), 1);
}

void TestSystemdProxy::watchesAStoppingUnitUntilTheAnswer()
{
    QSignalSpy changes(proxy.get(), &SystemdProxy::unitPropertiesChanged);
    fake->hold(u"StopUnit"_s);
    stop(unit);
    stop(unit);
    QTRY_COMPARE_WITH_TIMEOUT(fake->calls.size(), 3, timeoutMs);
    fake->emitChange(FakeSystemd::pathOf(unit), {});
    QTRY_COMPARE_WITH_TIMEOUT(changes.size(), 1, timeoutMs);
    QCOMPARE(changes.at(0).at(0).toString(), unit);
    fake->release(u"StopUnit"_s);
    QTRY_COMPARE_WITH_TIMEOUT(answers, 2, timeoutMs);
    QCOMPARE(proxy->watchedUnits(), 0);
}

void TestSystemdProxy::keepsNothingOfUnitsThatWereOnlyStopped()
{
    fake->refuse(u"StopUnit"_s, u"org.example.None"_s, QString());
    for (int number = 0; number < 1000; ++number)
        stop(QString::number(number));
    QTRY_COMPARE_WITH_TIMEOUT(answers, 1000, timeoutMs);
    QCOMPARE(proxy->watchedUnits(), 0);
}

void TestSystemdProxy::keepsWatchingAStartedUnitThatIsStopped()
{
    proxy->startUnit(unit, u"replace"_s,
                     [this](const QString &, const Core::Error &) { ++answers; });
    stop(unit);
    QTRY_COMPARE_WITH_TIMEOUT(answers, 2, timeoutMs);
    QCOMPARE(proxy->watchedUnits(), 1);
    QSignalSpy changes(proxy.get(), &SystemdProxy::unitPropertiesChanged);
    fake->emitChange(FakeSystemd::pathOf(unit), {});
    QTRY_COMPARE_WITH_TIMEOUT(changes.size(), 1, timeoutMs);
}

void TestSystemdProxy::givesTheMainProcessOfAUnit_data()
{
    QTest::addColumn<QVariantMap>("properties");
    QTest::addColumn<int>("pid");
    QTest::newRow("a process") << QVariantMap{{u"MainPID"_s, 4711u}} << 4711;
    QTest::newRow("none") << QVariantMap{{u"MainPID"_s, 0u}} << 0;
    QTest::newRow("no answer") << QVariantMap() << -1;
}

void TestSystemdProxy::givesTheMainProcessOfAUnit()
{
    QFETCH(QVariantMap, properties);
    QFETCH(int, pid);
    fake->properties.insert(unit, properties);
    int given = -2;
    proxy->mainPid(unit, [&given](std::optional<qint32> answer) { given = answer.value_or(-1); });
    QTRY_VERIFY_WITH_TIMEOUT(given != -2, timeoutMs);
    QCOMPARE(given, pid);
}

void TestSystemdProxy::subscribesAgainWhenSystemdIsAnotherProcess()
{
    QSignalSpy replaced(proxy.get(), &SystemdProxy::managerReplaced);
    QTRY_COMPARE_WITH_TIMEOUT(fake->calls.size(), 1, timeoutMs);
    fake.reset();
    fake = std::make_unique<FakeSystemd>(fakeBus);
    QVERIFY(replaced.size() == 1 || replaced.wait(timeoutMs));
    QTRY_COMPARE_WITH_TIMEOUT(membersOf(fake->calls), QStringList(u"Subscribe"_s), timeoutMs);
    // That the name lost its owner was not reported.
    QCOMPARE(replaced.size(), 1);
}

void TestSystemdProxy::followsTheUnitsOfWhicheverProcessIsSystemd_data()
{
    QTest::addColumn<bool>("hasPredecessor");
    QTest::newRow("the first") << false;
    QTest::newRow("the next") << true;
}

void TestSystemdProxy::followsTheUnitsOfWhicheverProcessIsSystemd()
{
    QFETCH(bool, hasPredecessor);
    QSignalSpy changes(proxy.get(), &SystemdProxy::unitPropertiesChanged);
    const QString path = FakeSystemd::pathOf(unit);
    if (!hasPredecessor)
        fake->giveUp(u"org.freedesktop.systemd1"_s);
    proxy->watchUnit(unit);
    fake->emitChange(path, {});
    if (hasPredecessor) {
        QTRY_COMPARE_WITH_TIMEOUT(changes.size(), 1, timeoutMs);
        fake->giveUp(u"org.freedesktop.systemd1"_s);
    }
    FakeSystemd next(bus.connect(u"next systemd"_s));
    QTRY_COMPARE_WITH_TIMEOUT(membersOf(next.calls), QStringList(u"Subscribe"_s), timeoutMs);
    changes.clear();
    fake->emitChange(path, {});
    // The bus has sent the signal on when it answers what comes after it.
    QVERIFY(fakeBus.interface()->isServiceRegistered(u"org.freedesktop.systemd1"_s));
    next.emitChange(path, {{u"ActiveState"_s, u"active"_s}});
    QTRY_COMPARE_WITH_TIMEOUT(changes.size(), 1, timeoutMs);
    QCOMPARE(changes.constFirst().at(1).toMap().size(), 1);
}

void TestSystemdProxy::tellsAFailedListingFromAnEmptyOne_data()
{
    QTest::addColumn<bool>("fails");
    QTest::newRow("empty") << false;
    QTest::newRow("failed") << true;
}

void TestSystemdProxy::tellsAFailedListingFromAnEmptyOne()
{
    QFETCH(bool, fails);
    for (const char *method : {"ListUnitsByPatterns", "ListUnitFilesByPatterns"})
        fake->refuse(QString::fromLatin1(method), fails ? u"org.example.No"_s : QString(),
                     QString());
    QStringList heard;
    const auto failed = [&heard] { heard.append(u"failed"_s); };
    const auto listed = [&heard](const auto &) { heard.append(u"listed"_s); };
    proxy->listUnitsByPatterns({}, {}, listed, failed);
    proxy->listUnitFilesByPatterns({}, {}, listed, failed);
    const QString outcome = fails ? u"failed"_s : u"listed"_s;
    QTRY_COMPARE_WITH_TIMEOUT(heard, QStringList({outcome, outcome}), timeoutMs);
    // Without a callback for failures, a failed listing gives an empty list.
    proxy->listUnitsByPatterns({}, {}, listed);
    QTRY_COMPARE_WITH_TIMEOUT(heard.size(), 3, timeoutMs);
    QCOMPARE(heard.last(), u"listed"_s);
}

QTEST_GUILESS_MAIN(TestSystemdProxy)
#include "tst_systemd_proxy.moc"

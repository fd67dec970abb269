// Many starts and stops at a time, with a systemd that is slow or does not answer.

#include "support/fixture.h"
#include "support/literals.h"

#include <QTest>
#include <QThread>

namespace {

constexpr int tasks = 120;

QString task(int number) { return u"com.example.Many.task_t%1"_s.arg(number); }

QString unit(int number) { return u"ov_task.com.example.Many.task_t%1.service"_s.arg(number); }

QString reload() { return u"Reload"_s; }
QString startUnit() { return u"StartUnit"_s; }
QString stopUnit() { return u"StopUnit"_s; }

QDBusMessage startOf(int number)
{
    return Fixture::startCall(task(number), {{u"User"_s, u"appuser"_s}});
}

QDBusMessage stopOf(int number) { return Fixture::sessionCall(u"Stop"_s, {task(number)}); }

} // namespace

class TestManyStarts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void sharesTheReloadOfFiftyStarts();
    void tellsNoCallerOfAFailureWhileReloadsAreSlow();
    void startsThoughAReloadIsNeverAnswered();
    void startsThoughReloadsAreRefused();
    void keepsTheOrderOfWhatIsAskedOfOneTask();
    void enablesBehindTheStart();
    void stopsAtOnceWhileManyStartsWait();
    void startsNothingThatItsCallerHasGivenUp();
    void refusesMoreThanItCanKeep();

private:
    // Waits until the daemon has handled every call that was sent before.
    void waitUntilHandled() const
    {
        QCOMPARE(fixture->registerInvoker(u"Sync"_s).type(), QDBusMessage::ReplyMessage);
    }
    // What systemd was asked for, in order: reloads, and starts and stops with their units.
    [[nodiscard]] QStringList asked() const;
    [[nodiscard]] auto count(const QString &method) const
    {
        return membersOf(fixture->systemd->calls).count(method);
    }
    // Calls Start for this number of different tasks.
    QVector<QDBusPendingCall> startTasks(int number, int timeoutMs = -1) const;
    void expectSuccess(const QVector<QDBusPendingCall> &calls) const;

    std::unique_ptr<Fixture> fixture;
};

void TestManyStarts::init()
{
    fixture = std::make_unique<Fixture>();
    fixture->root.serveType(u"Sync"_s);
    QByteArray declarations;
    for (int number = 0; number < tasks; ++number)
        declarations += "[X-Task t" + QByteArray::number(number) + "]\nType=Sync\nExec=/opt/w\n";
    fixture->root.write(u"/usr/share/applications/com.example.Many.desktop"_s,
                        "[Desktop Entry]\nType=Application\nName=x\nExec=/opt/x\n"
                        "[X-Application]\nOrganizationName=com.example\nApplicationName=Many\n"
                            + declarations);
    QVERIFY(fixture->start());
    waitUntilHandled();
}

void TestManyStarts::cleanup() { fixture.reset(); }

QStringList TestManyStarts::asked() const
{
    QStringList words;
    for (const QDBusMessage &call : qAsConst(fixture->systemd->calls)) {
        if (call.member() == reload())
            words.append(reload());
        else if (call.member() == startUnit())
            words.append(u"start "_s + call.arguments().constFirst().toString());
        else if (call.member() == stopUnit())
            words.append(u"stop "_s + call.arguments().constFirst().toString());
    }
    return words;
}

QVector<QDBusPendingCall> TestManyStarts::startTasks(int number, int timeoutMs) const
{
    QVector<QDBusPendingCall> calls;
    for (int index = 0; index < number; ++index)
        calls.append(fixture->client.asyncCall(startOf(index), timeoutMs));
    return calls;
}

void TestManyStarts::expectSuccess(const QVector<QDBusPendingCall> &calls) const
{
    for (const QDBusPendingCall &call : calls) {
        QVERIFY(Fixture::waitUntil([&] { return call.isFinished(); }));
        QVERIFY2(!call.isError(), qPrintable(call.error().message()));
        QCOMPARE(call.reply().arguments(), QVariantList{0});
    }
}

void TestManyStarts::sharesTheReloadOfFiftyStarts()
{
    constexpr int starts = 50;
    QSet<QString> loaded;
    QStringList notLoaded;
    fixture->systemd->onCall = [&](const QDBusMessage &call) {
        for (int number = 0; call.member() == reload() && number < starts; ++number) {
            if (fixture->root.exists(fixture->root.unitFile(task(number))))
                loaded.insert(unit(number));
        }
        const QString name = call.arguments().value(0).toString();
        if (call.member() == startUnit() && !loaded.contains(name))
            notLoaded.append(name);
    };
    fixture->systemd->hold(reload());
    const QVector<QDBusPendingCall> calls = startTasks(starts);
    waitUntilHandled();
    QVERIFY(Fixture::waitUntil([&] { return count(startUnit()) == 1; }));
    fixture->systemd->release(reload());
    expectSuccess(calls);
    QStringList expected{reload(), u"start "_s + unit(0), reload()};
    for (int number = 1; number < starts; ++number)
        expected.append(u"start "_s + unit(number));
    QCOMPARE(asked(), expected);
    QCOMPARE(notLoaded, QStringList());
}

void TestManyStarts::tellsNoCallerOfAFailureWhileReloadsAreSlow()
{
    constexpr unsigned long reloadTakesMs = 1000;
    // While it reloads, systemd does nothing else.
    fixture->systemd->onCall = [](const QDBusMessage &call) {
        if (call.member() == reload())
            QThread::msleep(reloadTakesMs);
    };
    expectSuccess(startTasks(40));
    QVERIFY2(count(reload()) <= 3, qPrintable(QString::number(count(reload()))));
}

void TestManyStarts::startsThoughAReloadIsNeverAnswered()
{
    fixture->systemd->hold(reload());
    expectSuccess(startTasks(10));
    QCOMPARE(count(reload()), 2);
}

void TestManyStarts::startsThoughReloadsAreRefused()
{
    fixture->systemd->refuse(reload(), u"org.freedesktop.DBus.Error.AccessDenied"_s, u"no"_s);
    expectSuccess(startTasks(10));
}

void TestManyStarts::keepsTheOrderOfWhatIsAskedOfOneTask()
{
    fixture->systemd->hold(reload());
    QVector<QDBusPendingCall> calls = startTasks(2);
    calls.append(fixture->client.asyncCall(stopOf(1)));
    calls.append(fixture->client.asyncCall(startOf(1)));
    // No other call for this task is under way.
    calls.append(fixture->client.asyncCall(stopOf(2)));
    QVERIFY(Fixture::waitUntil([&] { return count(stopUnit()) == 1; }));
    QCOMPARE(asked(), QStringList({reload(), u"start "_s + unit(0), u"stop "_s + unit(2)}));
    fixture->systemd->release(reload());
    expectSuccess(calls);
    QCOMPARE(asked().mid(3),
             QStringList({reload(), u"start "_s + unit(1), u"stop "_s + unit(1), reload(),
                          u"start "_s + unit(1)}));
    QVERIFY(fixture->root.exists(fixture->root.unitFile(task(1))));
}

void TestManyStarts::enablesBehindTheStart()
{
    fixture->systemd->hold(reload());
    QVector<QDBusPendingCall> calls;
    for (int number = 0; number < 3; ++number) {
        calls.append(fixture->client.asyncCall(Fixture::startCall(
            task(number), {{u"User"_s, u"appuser"_s}, {u"Autostart"_s, number == 1 ? 2 : 1}})));
    }
    waitUntilHandled();
    fixture->systemd->release(reload());
    expectSuccess(calls);
    QCOMPARE(membersOf(fixture->systemd->calls).mid(3),
             QStringList({reload(), startUnit(), reload(), startUnit(), u"EnableUnitFiles"_s,
                          startUnit()}));
}

void TestManyStarts::stopsAtOnceWhileManyStartsWait()
{
    fixture->systemd->hold(startUnit());
    const QVector<QDBusPendingCall> starts = startTasks(100, Fixture::timeoutMs);
    waitUntilHandled();
    QVERIFY(Fixture::waitUntil([&] { return count(startUnit()) > 1; }));
    QCOMPARE(fixture->stop(task(110)).type(), QDBusMessage::ReplyMessage);
    QVERIFY2(count(startUnit()) < 100, "nothing waited");
    fixture->systemd->release(startUnit());
    expectSuccess(starts);
}

void TestManyStarts::startsNothingThatItsCallerHasGivenUp()
{
    constexpr int asked = 60;
    fixture->systemd->hold(startUnit());
    const QVector<QDBusPendingCall> starts = startTasks(asked, 3 * Fixture::timeoutMs);
    QVERIFY(Fixture::waitUntil([&] { return starts.constLast().isFinished(); }));
    QCOMPARE(starts.constLast().error().name(), u"org.freedesktop.DBus.Error.Failed"_s);
    const auto sent = count(startUnit());
    QVERIFY2(sent < asked, qPrintable(QString::number(sent)));
    fixture->systemd->release(startUnit());
    int succeeded = 0;
    for (const QDBusPendingCall &call : starts) {
        QVERIFY(Fixture::waitUntil([&] { return call.isFinished(); }));
        succeeded += call.isError() ? 0 : 1;
    }
    QCOMPARE(succeeded, sent);
    QCOMPARE(count(startUnit()), sent);
    // A start is accepted again.
    QCOMPARE(fixture->call(startOf(0)).arguments(), QVariantList{0});
}

void TestManyStarts::refusesMoreThanItCanKeep()
{
    constexpr int calls = 1100;
    fixture->systemd->hold(stopUnit());
    for (int number = 0; number < calls; ++number)
        fixture->client.send(stopOf(number));
    for (const QDBusMessage &call : {startOf(0), stopOf(0)}) {
        QCOMPARE(fixture->call(call).errorName(), u"org.freedesktop.DBus.Error.LimitsExceeded"_s);
    }
    QVERIFY(!fixture->root.exists(fixture->root.unitFile(task(0))));
    fixture->systemd->release(stopUnit());
    QVERIFY(Fixture::waitUntil([&] { return count(stopUnit()) == 1024; }));
    QVERIFY(Fixture::waitUntil(
        [&] { return fixture->call(startOf(0)).type() == QDBusMessage::ReplyMessage; }));
}

QTEST_GUILESS_MAIN(TestManyStarts)
#include "tst_many_starts.moc"

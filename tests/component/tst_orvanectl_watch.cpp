#include "common/DBus/types.h"
#include "support/fixture.h"
#include "support/literals.h"

#include <QDBusObjectPath>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QTest>

namespace {

QString taskNumber(int number) { return u"com.example.Many.task_t%1"_s.arg(number); }

QVariantMap unitState(const char *active, const QByteArray &invocation)
{
    const bool isUp = qstrcmp(active, "active") == 0;
    return {{u"ActiveState"_s, QString::fromLatin1(active)},
            {u"InactiveEnterTimestampMonotonic"_s, quint64(isUp ? 0 : 5)},
            {u"InvocationID"_s, invocation}};
}

QVariantMap serviceState(const char *result, int status)
{
    return {{u"Result"_s, QString::fromLatin1(result)},
            {u"ExecMainCode"_s, 1},
            {u"ExecMainStatus"_s, status}};
}

QVector<QJsonObject> objectsIn(const QByteArray &lines)
{
    QVector<QJsonObject> objects;
    for (const QByteArray &line : lines.split('\n')) {
        if (!line.isEmpty())
            objects.append(QJsonDocument::fromJson(line).object());
    }
    return objects;
}

QString eventOf(const QJsonObject &object) { return object.value(u"event"_s).toString(); }

} // namespace

class TestOrvanectlWatch : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void tellsOfEachOfManyShortRunsOnce();
    void tellsWhatRanBefore();
    void tellsOnlyOfTheTypeThatIsAskedFor();
    void tellsOfTheUsersSession();
    void endsWithTheBus();

private:
    // Starts the tool and waits until it says that it watches.
    void watch(const QStringList &options = {});
    [[nodiscard]] QVector<QJsonObject> told() { return objectsIn(tool->output().out); }
    [[nodiscard]] bool hasTold(int count)
    {
        return Fixture::waitUntil([this, count] { return told().size() >= count; });
    }
    void change(const QString &task, const QVariantMap &service, const QVariantMap &unit) const;

    std::unique_ptr<Fixture> fixture;
    std::unique_ptr<ToolProcess> tool;
};

void TestOrvanectlWatch::init()
{
    fixture = std::make_unique<Fixture>();
    fixture->root.serveType(u"Sync"_s);
    fixture->root.writeApplication(u"Many"_s,
                                   "[X-Task t1]\nType=Sync\nExec=/opt/x\n"
                                   "[X-Task t2]\nType=Other\nExec=/opt/x\n");
    QVERIFY(fixture->start());
}

void TestOrvanectlWatch::cleanup()
{
    tool.reset();
    fixture.reset();
}

void TestOrvanectlWatch::watch(const QStringList &options)
{
    tool = fixture->startTool(QStringList{u"watch"_s, u"--json"_s} + options);
    QVERIFY(Fixture::waitUntil([this] {
        const QVector<QJsonObject> objects = told();
        return !objects.isEmpty() && eventOf(objects.constLast()) == QLatin1String("watching");
    }));
}

void TestOrvanectlWatch::change(const QString &task, const QVariantMap &service,
                                const QVariantMap &unit) const
{
    const QString path = Fixture::unitPath(task);
    fixture->systemd->emitChange(path, service, u"org.freedesktop.systemd1.Service"_s);
    fixture->systemd->emitChange(path, unit);
}

void TestOrvanectlWatch::tellsOfEachOfManyShortRunsOnce()
{
    constexpr int tasks = 300;
    watch();
    for (int number = 1; number <= tasks; ++number) {
        const QByteArray run = QByteArray::number(number).rightJustified(16, '.');
        // The start of every third run is never sent, and every fifth run fails.
        if (number % 3 != 0)
            change(taskNumber(number), serviceState("success", 0), unitState("active", run));
        const bool fails = number % 5 == 0;
        change(taskNumber(number), serviceState(fails ? "exit-code" : "success", fails ? 3 : 0),
               unitState(fails ? "failed" : "inactive", run));
        change(taskNumber(number), {}, unitState(fails ? "failed" : "inactive", run));
    }
    QVERIFY(hasTold(1 + 2 * tasks));
    QMap<QString, QStringList> events;
    for (const QJsonObject &object : told().mid(1))
        events[object.value(u"task"_s).toString()].append(eventOf(object));
    QCOMPARE(events.size(), tasks);
    for (int number = 1; number <= tasks; ++number)
        QCOMPARE(events.value(taskNumber(number)),
                 QStringList({u"started"_s, number % 5 == 0 ? u"failed"_s : u"ended"_s}));
}

void TestOrvanectlWatch::tellsWhatRanBefore()
{
    const QString unit = u"ov_task.%1.service"_s.arg(taskNumber(1));
    fixture->systemd->units = {{unit, u"active"_s, u"running"_s}};
    fixture->systemd->properties.insert(unit, unitState("active", QByteArray(16, 'a')));
    watch();
    QCOMPARE(eventOf(told().constFirst()), u"running"_s);
    change(taskNumber(1), serviceState("exit-code", 4), unitState("failed", QByteArray(16, 'a')));
    QVERIFY(hasTold(3));
    const QJsonObject last = told().constLast();
    QCOMPARE(eventOf(last), u"failed"_s);
    QCOMPARE(last.value(u"exitStatus"_s).toInt(), 4);
    QCOMPARE(last.value(u"type"_s).toString(), u"Sync"_s);
}

void TestOrvanectlWatch::tellsOnlyOfTheTypeThatIsAskedFor()
{
    watch({u"--type"_s, u"Sync"_s});
    change(taskNumber(2), {}, unitState("active", QByteArray(16, 'a')));
    change(taskNumber(1), {}, unitState("active", QByteArray(16, 'b')));
    QVERIFY(hasTold(2));
    QCOMPARE(told().at(1).value(u"task"_s).toString(), taskNumber(1));
}

void TestOrvanectlWatch::tellsOfTheUsersSession()
{
    DBus::registerTypes();
    const QString path = u"/org/zarn/Orvane/TaskInvokerSessions/Other"_s;
    FakeUserService user(fixture->connect());
    const auto listOf = [](const QVector<Orvane::ActiveTask> &tasks) {
        return QVariantMap{{u"ActiveTasks"_s, QVariant::fromValue(tasks)}};
    };
    user.answer = [&](const QDBusMessage &call) {
        return call.createReply({QVariant::fromValue(QDBusObjectPath(path)), listOf({})});
    };
    watch({u"--type"_s, u"Other"_s});
    const QString interface = u"org.zarn.Orvane.TaskInvokerSession1"_s;
    user.emitChange(path, interface, listOf({{taskNumber(2), 7, {}}}), {});
    user.emitChange(path, interface, listOf({{taskNumber(2), 7, {}}}), {});
    user.emitChange(path, interface, listOf({}), {});
    QVERIFY(hasTold(3));
    QCOMPARE(eventOf(told().at(1)), u"started"_s);
    QCOMPARE(told().at(1).value(u"pid"_s).toInt(), 7);
    QCOMPARE(eventOf(told().at(2)), u"ended"_s);
}

void TestOrvanectlWatch::endsWithTheBus()
{
    watch();
    fixture->bus.stop();
    QVERIFY(Fixture::waitUntil([this] { return tool->hasEnded(); }));
    QCOMPARE(tool->output().status, 3);
}

QTEST_GUILESS_MAIN(TestOrvanectlWatch)
#include "tst_orvanectl_watch.moc"

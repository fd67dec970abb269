#include "common/DBus/types.h"
#include "support/fixture.h"

#include <QDBusObjectPath>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QTest>

namespace {

QString taskNumber(int number) { return QStringLiteral("com.example.Many.task_t%1").arg(number); }

QVariantMap unitState(const char *active, const QByteArray &invocation)
{
    const bool isUp = qstrcmp(active, "active") == 0;
    return {{QStringLiteral("ActiveState"), QString::fromLatin1(active)},
            {QStringLiteral("InactiveEnterTimestampMonotonic"), quint64(isUp ? 0 : 5)},
            {QStringLiteral("InvocationID"), invocation}};
}

QVariantMap serviceState(const char *result, int status)
{
    return {{QStringLiteral("Result"), QString::fromLatin1(result)},
            {QStringLiteral("ExecMainCode"), 1},
            {QStringLiteral("ExecMainStatus"), status}};
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

QString eventOf(const QJsonObject &object)
{
    return object.value(QStringLiteral("event")).toString();
}

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
    fixture->root.serveType(QStringLiteral("Sync"));
    fixture->root.writeApplication(QStringLiteral("Many"),
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
    tool = fixture->startTool(QStringList{QStringLiteral("watch"), QStringLiteral("--json")}
                              + options);
    QVERIFY(Fixture::waitUntil([this] {
        const QVector<QJsonObject> objects = told();
        return !objects.isEmpty() && eventOf(objects.constLast()) == QLatin1String("watching");
    }));
}

void TestOrvanectlWatch::change(const QString &task, const QVariantMap &service,
                                const QVariantMap &unit) const
{
    const QString path = Fixture::unitPath(task);
    fixture->systemd->emitChange(path, service, QStringLiteral("org.freedesktop.systemd1.Service"));
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
        events[object.value(QStringLiteral("task")).toString()].append(eventOf(object));
    QCOMPARE(events.size(), tasks);
    for (int number = 1; number <= tasks; ++number)
        QCOMPARE(
            events.value(taskNumber(number)),
            QStringList({QStringLiteral("started"),
                         number % 5 == 0 ? QStringLiteral("failed") : QStringLiteral("ended")}));
}

void TestOrvanectlWatch::tellsWhatRanBefore()
{
    const QString unit = QStringLiteral("ov_task.%1.service").arg(taskNumber(1));
    fixture->systemd->units = {{unit, QStringLiteral("active"), QStringLiteral("running")}};
    fixture->systemd->properties.insert(unit, unitState("active", QByteArray(16, 'a')));
    watch();
    QCOMPARE(eventOf(told().constFirst()), QStringLiteral("running"));
    change(taskNumber(1), serviceState("exit-code", 4), unitState("failed", QByteArray(16, 'a')));
    QVERIFY(hasTold(3));
    const QJsonObject last = told().constLast();
    QCOMPARE(eventOf(last), QStringLiteral("failed"));
    QCOMPARE(last.value(QStringLiteral("exitStatus")).toInt(), 4);
    QCOMPARE(last.value(QStringLiteral("type")).toString(), QStringLiteral("Sync"));
}

void TestOrvanectlWatch::tellsOnlyOfTheTypeThatIsAskedFor()
{
    watch({QStringLiteral("--type"), QStringLiteral("Sync")});
    change(taskNumber(2), {}, unitState("active", QByteArray(16, 'a')));
    change(taskNumber(1), {}, unitState("active", QByteArray(16, 'b')));
    QVERIFY(hasTold(2));
    QCOMPARE(told().at(1).value(QStringLiteral("task")).toString(), taskNumber(1));
}

void TestOrvanectlWatch::tellsOfTheUsersSession()
{
    DBus::registerTypes();
    const QString path = QStringLiteral("/org/zarn/Orvane/TaskInvokerSessions/Other");
    FakeUserService user(fixture->connect());
    const auto listOf = [](const QVector<Orvane::ActiveTask> &tasks) {
        return QVariantMap{{QStringLiteral("ActiveTasks"), QVariant::fromValue(tasks)}};
    };
    user.answer = [&](const QDBusMessage &call) {
        return call.createReply({QVariant::fromValue(QDBusObjectPath(path)), listOf({})});
    };
    watch({QStringLiteral("--type"), QStringLiteral("Other")});
    const QString interface = QStringLiteral("org.zarn.Orvane.TaskInvokerSession1");
    user.emitChange(path, interface, listOf({{taskNumber(2), 7, {}}}), {});
    user.emitChange(path, interface, listOf({{taskNumber(2), 7, {}}}), {});
    user.emitChange(path, interface, listOf({}), {});
    QVERIFY(hasTold(3));
    QCOMPARE(eventOf(told().at(1)), QStringLiteral("started"));
    QCOMPARE(told().at(1).value(QStringLiteral("pid")).toInt(), 7);
    QCOMPARE(eventOf(told().at(2)), QStringLiteral("ended"));
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

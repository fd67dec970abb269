// orvanectl render shows exactly the bytes that the daemon writes.

#include "cli/declared_tasks.h"
#include "cli/rendering.h"
#include "common/places.h"
#include "component/generated_starts.h"
#include "support/fixture.h"
#include "support/literals.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <algorithm>

namespace {

constexpr uint seed = 9;
constexpr int applications = 250;
constexpr int startsOfEach = 8;
constexpr int startsByTheTool = 20;
// The bus allows a connection 128 unanswered calls.
constexpr int atOnce = 64;

void setEnvironment(const QStringList &variables)
{
    for (const QString &variable : variables) {
        const auto equals = variable.indexOf(QLatin1Char('='));
        qputenv(variable.left(equals).toUtf8().constData(), variable.mid(equals + 1).toUtf8());
    }
}

QStringList repeated(const char *option, const QStringList &values)
{
    QStringList words;
    for (const QString &value : values)
        words.append(QLatin1String(option) + QLatin1Char('=') + value);
    return words;
}

// The tool's options for a request.
QStringList optionsOf(const Client::StartRequest &request)
{
    QStringList words = repeated("--user", {*request.user})
        + repeated("--permission", request.permissions) + repeated("--param", request.params)
        + repeated("--env", request.environment);
    if (request.atBoot)
        words.append(u"--at-boot"_s);
    if (request.homeless)
        words.append(u"--homeless"_s);
    if (request.busName)
        words += repeated("--own", {*request.busName});
    words += repeated("--weight", {QString::number(request.weight)});
    words += repeated("--cpu-limit", {QString::number(request.cpuLimit)});
    for (auto it = request.unitSettings.cbegin(); it != request.unitSettings.cend(); ++it)
        words += repeated("--set", {it.key() + QLatin1Char('=') + it.value().toString()});
    return words;
}

// The tool takes NAME=VALUE for a variable, while the daemon takes any text.
bool canBeWritten(const Client::StartRequest &request)
{
    return std::all_of(request.environment.cbegin(), request.environment.cend(),
                       [](const QString &entry) { return entry.indexOf(QLatin1Char('=')) > 0; });
}

// A start and the daemon's answer to it.
struct Start
{
    Start() = default;
    Start(const Cli::DeclaredTask &declared, const Client::StartRequest &asked)
        : task(declared)
        , request(asked)
    {
    }
    [[nodiscard]] bool isRefused() const { return call.isError(); }
    [[nodiscard]] QString refusal() const { return call.reply().errorMessage(); }

    Cli::DeclaredTask task;
    Client::StartRequest request;
    QDBusPendingCall call = QDBusPendingCall::fromCompletedCall(QDBusMessage());
};

} // namespace

class TestRender : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void findsTheTasksThatTheDaemonFinds();
    void showsWhatTheDaemonWrites();
    void printsWhatTheDaemonWrites();
    void cleanupTestCase();

private:
    // Makes the daemon start all of them. Each finds no files of an earlier start.
    void start(QVector<Start> &starts) const;
    void send(Start &start) const;
    [[nodiscard]] QByteArray unit(const QString &task) const;
    // The policy's text; empty when there is none.
    [[nodiscard]] QByteArray policy(const QString &task) const;
    void compare(const Start &start);
    void compareTool(const Start &start) const;

    std::unique_ptr<Fixture> fixture;
    QVector<Cli::DeclaredTask> tasks;
    // Tasks whose id cannot be parsed, so that no caller can name them.
    QVector<Cli::DeclaredTask> nameless;
    int started = 0;
    int refused = 0;
    int policies = 0;
};

void TestRender::initTestCase()
{
    fixture = std::make_unique<Fixture>();
    fixture->root.serveType(u"Sync"_s);
    GeneratedStarts generated(seed);
    for (int number = 0; number < applications; ++number)
        generated.writeApplication(fixture->root, number);
    // The tool's main() does the same.
    QCoreApplication::setApplicationName(u"orvane"_s);
    setEnvironment(fixture->root.environment() + QStringList{u"ORVANE_COMPONENT_TESTS=1"_s});
    Places::setOfProcess(Places::ofEnvironment());
    for (const Cli::DeclaredTask &task : Cli::declaredTasks()) {
        const bool isFound = Cli::declaredTask(task.taskId.toString()).taskId.isValid();
        (isFound ? tasks : nameless).append(task);
    }
    QVERIFY(tasks.size() > applications * 3 / 4);
    QVERIFY(fixture->start());
    QCOMPARE(fixture->registerInvoker(u"Sync"_s).type(), QDBusMessage::ReplyMessage);
}

void TestRender::cleanupTestCase() { fixture.reset(); }

QByteArray TestRender::unit(const QString &task) const
{
    return fixture->root.read(fixture->root.unitFile(task));
}

QByteArray TestRender::policy(const QString &task) const
{
    return fixture->root.read(fixture->root.policyFile(task));
}

void TestRender::send(Start &start) const
{
    const QString task = start.task.taskId.toString();
    fixture->root.remove(fixture->root.unitFile(task));
    fixture->root.remove(fixture->root.policyFile(task));
    start.call = fixture->client.asyncCall(
        Fixture::startCall(task, start.request.hints(), start.request.information()),
        Fixture::timeoutMs);
}

void TestRender::start(QVector<Start> &starts) const
{
    const auto isAnswered = [](const Start &start) { return start.call.isFinished(); };
    for (auto first = starts.begin(); first != starts.end();) {
        const auto end = first + std::min(atOnce, int(starts.end() - first));
        std::for_each(first, end, [this](Start &start) { send(start); });
        QVERIFY(Fixture::waitUntil([&] { return std::all_of(first, end, isAnswered); }));
        first = end;
    }
}

void TestRender::compare(const Start &start)
{
    const QString task = start.task.taskId.toString();
    const auto [error, plan, findings] =
        Cli::render(start.task, start.request, Places::ofProcess());
    QCOMPARE(start.refusal(), error.message());
    QCOMPARE(start.isRefused(), bool(error));
    QCOMPARE(unit(task), error ? QByteArray() : plan.unit());
    QCOMPARE(policy(task), plan.policy.value_or(QByteArray()));
    ++(error ? refused : started);
    policies += plan.policy ? 1 : 0;
}

void TestRender::findsTheTasksThatTheDaemonFinds()
{
    QVERIFY(!nameless.isEmpty());
    GeneratedStarts generated(seed);
    QVector<Start> starts;
    for (const Cli::DeclaredTask &task : qAsConst(nameless))
        starts.append(Start(task, generated.request()));
    start(starts);
    for (const Start &start : qAsConst(starts))
        QCOMPARE(start.refusal(), u"Task not found: "_s + start.task.taskId.toString());
}

void TestRender::showsWhatTheDaemonWrites()
{
    GeneratedStarts generated(seed + 1);
    for (int round = 0; round < startsOfEach; ++round) {
        QVector<Start> starts;
        for (const Cli::DeclaredTask &task : qAsConst(tasks))
            starts.append(Start(task, generated.request()));
        start(starts);
        for (const Start &start : qAsConst(starts)) {
            compare(start);
            if (QTest::currentTestFailed())
                return;
        }
    }
    qInfo("%d started, %d of them with a policy; %d refused", started, policies, refused);
    QVERIFY(started >= 1000);
    QVERIFY(policies >= 100);
    QVERIFY(refused >= 100);
}

void TestRender::compareTool(const Start &start) const
{
    const QString task = start.task.taskId.toString();
    const ToolOutput output =
        fixture->runTool(QStringList{u"render"_s, task, u"--json"_s} + optionsOf(start.request));
    const QJsonObject object = QJsonDocument::fromJson(output.out).object();
    const auto text = [&object](const char *field) {
        return object.value(QLatin1String(field)).toString();
    };
    QVERIFY2(output.status == (start.isRefused() ? 1 : 0), output.errors.constData());
    QCOMPARE(text("reason"), start.refusal());
    QCOMPARE(text("unit").toUtf8(), unit(task));
    QCOMPARE(text("policy").toUtf8(), policy(task));
}

void TestRender::printsWhatTheDaemonWrites()
{
    GeneratedStarts generated(seed + 2);
    QVector<Start> starts;
    for (const Cli::DeclaredTask &task : qAsConst(tasks)) {
        const Client::StartRequest request = generated.request();
        if (canBeWritten(request) && starts.size() < startsByTheTool)
            starts.append(Start(task, request));
    }
    QCOMPARE(starts.size(), startsByTheTool);
    start(starts);
    for (const Start &start : qAsConst(starts)) {
        compareTool(start);
        if (QTest::currentTestFailed())
            return;
    }
}

QTEST_GUILESS_MAIN(TestRender)
#include "tst_render.moc"

#include "common/Core/application_info.h"
#include "common/places.h"
#include "plan/task_plan.h"
#include "support/collected_findings.h"
#include "support/golden_plan.h"
#include "support/literals.h"
#include "support/temp_root.h"
#include "system/Core/start_hints.h"

#include <QFile>
#include <QtTest>

using Core::ApplicationId;
using Core::ApplicationInfo;
using Core::ApplicationTaskId;
using Core::Error;
using Core::Origin;
using Core::PlannedWord;
using Core::StartRequest;
using Core::TaskPlan;
using Core::TaskPlanResult;

namespace {

const char *const permissionFolder = "/etc/sailjail/permissions/";

QStringList textsOf(const QVector<PlannedWord> &words)
{
    QStringList texts;
    for (const PlannedWord &word : words)
        texts.append(word.text);
    return texts;
}

ApplicationInfo::TaskInfo declaredTask()
{
    ApplicationInfo::TaskInfo task;
    task.taskId = ApplicationTaskId(ApplicationId(u"com.example"_s, u"Notes"_s), u"sync"_s);
    task.exec = u"/opt/worker -v"_s;
    return task;
}

StartRequest requestOf(const QString &user)
{
    StartRequest request;
    request.user = user;
    return request;
}

} // namespace

class TestTaskPlan : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void plansTheGoldenFiles_data();
    void plansTheGoldenFiles();
    void givesTheOriginOfEachSetting();
    void givesTheOriginOfEachWord_data();
    void givesTheOriginOfEachWord();
    void givesTheOriginOfEachVariable();
    void plansNoPolicyWithoutABusName();
    void reportsWhatTheSandboxRefuses();
    void reportsAPermissionThatIsLeftOut();
    void plansNothingWhenSomethingIsWrong();
    void leavesTheFilesAsTheyAre();

private:
    void makeProgram(const QString &path) const;
    [[nodiscard]] TaskPlanResult plan(const StartRequest &request);
    [[nodiscard]] TaskPlan planOfEverything();

    std::unique_ptr<TempRoot> root;
    CollectedFindings found;
};

void TestTaskPlan::init()
{
    root = std::make_unique<TempRoot>();
    found.all.clear();
    makeProgram(u"/opt/worker"_s);
    for (const char *name : {"BaseTask", "Audio"})
        root->write(QLatin1String(permissionFolder) + QLatin1String(name)
                        + QLatin1String(".permission"),
                    "");
}

void TestTaskPlan::makeProgram(const QString &path) const
{
    root->write(path, "\177ELF");
    QFile::setPermissions(root->path(path), QFileDevice::ReadOwner | QFileDevice::ExeOwner);
}

TaskPlanResult TestTaskPlan::plan(const StartRequest &request)
{
    return Core::planTask(declaredTask(), request, Places::below(root->path()), found);
}

TaskPlan TestTaskPlan::planOfEverything()
{
    StartRequest request = requestOf(u"nobody"_s);
    request.weight = 7;
    request.unitSettings.insert(u"MemoryMax"_s, u"64M"_s);
    request.params = QStringList{u"--fast"_s};
    request.permissions = QStringList{u"Audio"_s};
    request.environment = QStringList{u"A=1"_s};
    return plan(request).plan;
}

void TestTaskPlan::plansTheGoldenFiles_data()
{
    QTest::addColumn<QString>("name");
    const QStringList names = GoldenPlan::names();
    for (const QString &name : names)
        QTest::addRow("%s", qPrintable(name)) << name;
}

void TestTaskPlan::plansTheGoldenFiles()
{
    QFETCH(QString, name);
    const GoldenPlan golden(name);
    const TempRoot system;
    const QString entry = u"/usr/share/applications/"_s + golden.file;
    system.write(entry, golden.entry);
    system.write(golden.program, "\177ELF");
    QFile::setPermissions(system.path(golden.program),
                          QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    for (const QString &permission : golden.permissions)
        system.write(QLatin1String(permissionFolder) + permission + QLatin1String(".permission"),
                     "");
    const Places places = Places::below(system.path());
    const ApplicationInfo application(system.path(entry), places, found);
    const auto task =
        application.tasks().value(ApplicationTaskId(golden.task).taskName().toString());
    QCOMPARE(task.taskId.toString(), golden.task);

    const auto [error, planned] =
        Core::planTask(task, Core::startRequestOf(golden.info, golden.hints), places, found);
    QCOMPARE(error.message(), QString());
    QCOMPARE(planned.unit(), golden.unit);
    QCOMPARE(textsOf(planned.argv), golden.argv);
    QCOMPARE(planned.policy.value_or(QByteArray()), golden.policy);
    QVERIFY(
        golden.unit.contains("\nExecStart=" + golden.argv.join(QLatin1Char(' ')).toUtf8() + '\n'));
}

void TestTaskPlan::givesTheOriginOfEachSetting()
{
    QStringList seen;
    const TaskPlan planned = planOfEverything();
    for (auto it = planned.settings.cbegin(); it != planned.settings.cend(); ++it)
        seen.append(u"%1 %2 %3"_s.arg(it.key()).arg(it->origin.kind).arg(it->origin.what));
    const auto row = [](const char *key, Origin::Kind kind, const char *what) {
        return u"%1 %2 %3"_s.arg(QLatin1String(key)).arg(kind).arg(QLatin1String(what));
    };
    QCOMPARE(
        seen,
        (QStringList{row("Environment", Origin::Words, ""), row("ExecStart", Origin::Words, ""),
                     row("MemoryMax", Origin::Hint, "CGroups"),
                     row("OOMScoreAdjust", Origin::Hint, "Weight"),
                     row("User", Origin::Hint, "User"), row("WantedBy", Origin::Default, "")}));
}

void TestTaskPlan::givesTheOriginOfEachWord_data()
{
    QTest::addColumn<QString>("word");
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("what");
    const auto row = [](const char *word, Origin::Kind kind, const char *what) {
        QTest::newRow(word) << QString::fromUtf8(word) << int(kind) << QString::fromUtf8(what);
    };
    row("/usr/bin/firejail", Origin::Default, "");
    row("--private-bin=worker", Origin::Declaration, "Exec");
    row("--template=OrganizationName:com.example", Origin::Declaration, "OrganizationName");
    row("--template=ApplicationName:Notes", Origin::Declaration, "ApplicationName");
    row("--whitelist=/usr/share/com.example.Notes", Origin::Declaration, "ApplicationName");
    row("--mkdir=${HOME}/.config/com.example/Notes", Origin::Declaration, "ApplicationName");
    row("--dbus-user=none", Origin::Default, "");
    row("--dbus-system.talk=com.example.Notes.*", Origin::Declaration, "ApplicationName");
    row("--whitelist=/srv/shared/com.example/common", Origin::Declaration, "OrganizationName");
    row("--blacklist=/srv/shared/empty", Origin::Default, "");
    row("--profile=/etc/sailjail/permissions/Audio.permission", Origin::Permission, "Audio");
    row("--profile=/etc/sailjail/permissions/BaseTask.permission", Origin::Permission, "BaseTask");
    row("--", Origin::Default, "");
    row("/opt/worker", Origin::Declaration, "Exec");
    row("-v", Origin::Declaration, "Exec");
    row("--fast", Origin::Hint, "Params");
}

void TestTaskPlan::givesTheOriginOfEachWord()
{
    QFETCH(QString, word);
    QFETCH(int, kind);
    QFETCH(QString, what);
    const TaskPlan planned = planOfEverything();
    const auto index = textsOf(planned.argv).indexOf(word);
    QVERIFY(index >= 0);
    const Origin origin = planned.argv.at(index).origin;
    QCOMPARE(int(origin.kind), kind);
    QCOMPARE(origin.what, what);
    QCOMPARE(origin.file,
             kind == Origin::Permission
                 ? root->path(QLatin1String(permissionFolder) + what + QLatin1String(".permission"))
                 : QString());
}

void TestTaskPlan::givesTheOriginOfEachVariable()
{
    const QVector<PlannedWord> environment = planOfEverything().environment;
    QCOMPARE(environment.size(), 5);
    QCOMPARE(environment.at(0).text, u"A=1"_s);
    QCOMPARE(int(environment.at(0).origin.kind), int(Origin::Hint));
    QCOMPARE(environment.at(1).origin.what, u"ApplicationName"_s);
    QCOMPARE(environment.at(3).origin.what, u"X-Task"_s);
    QCOMPARE(int(environment.at(4).origin.kind), int(Origin::Default));
}

void TestTaskPlan::plansNoPolicyWithoutABusName()
{
    StartRequest request = requestOf(u"nobody"_s);
    QVERIFY(!plan(request).plan.policy);
    request.busName = u"com.example.Notes.Sync"_s;
    QVERIFY(plan(request).plan.policy);
}

void TestTaskPlan::reportsWhatTheSandboxRefuses()
{
    root->write(u"/opt/worker"_s, "#!/bin/sh\n");
    const TaskPlanResult result = plan(requestOf(u"nobody"_s));
    QCOMPARE(result.error.message(), u"/opt/worker is not an ELF binary"_s);
    QCOMPARE(found.all.size(), 1);
    QCOMPARE(found.all.constFirst().rule, u"refused-by-sandbox"_s);
    QCOMPARE(found.all.constFirst().text,
             u"Failed to build firejail argv: \"/opt/worker is not an ELF binary\""_s);
}

void TestTaskPlan::reportsAPermissionThatIsLeftOut()
{
    StartRequest request = requestOf(u"nobody"_s);
    request.permissions = QStringList{u"Missing"_s};
    QCOMPARE(plan(request).error.message(), QString());
    QCOMPARE(found.all.size(), 1);
    QCOMPARE(found.all.constFirst().rule, u"unknown-permission"_s);
    QCOMPARE(found.all.constFirst().key, u"Missing"_s);
}

void TestTaskPlan::plansNothingWhenSomethingIsWrong()
{
    StartRequest request = requestOf(u"nobody"_s);
    request.busName = u"com.example.Notes.Sync"_s;
    request.params = QStringList{u";"_s};
    const TaskPlanResult result = plan(request);
    QCOMPARE(result.error.code(), qint32(Error::InvalidArgs));
    QVERIFY(result.plan.settings.isEmpty() && result.plan.argv.isEmpty() && !result.plan.policy);
    QCOMPARE(found.all.size(), 0);
}

void TestTaskPlan::leavesTheFilesAsTheyAre()
{
    StartRequest request = requestOf(u"nobody"_s);
    request.busName = u"com.example.Notes.Sync"_s;
    QCOMPARE(plan(request).error.message(), QString());
    const QString unit = u"com.example.Notes.task_sync"_s;
    QVERIFY(!root->exists(root->unitFile(unit)));
    QVERIFY(!root->exists(root->policyFile(unit)));
}

QTEST_APPLESS_MAIN(TestTaskPlan)
#include "tst_task_plan.moc"

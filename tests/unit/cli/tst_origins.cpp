#include "cli/origins.h"
#include "cli/rendering.h"
#include "cli/start_options.h"
#include "common/places.h"
#include "support/collected_findings.h"
#include "support/literals.h"
#include "support/temp_root.h"

#include <QFile>
#include <QTest>

using Cli::ValueOrigin;

class TestOrigins : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void givesTheOriginOfEachValue_data();
    void givesTheOriginOfEachValue();
    void findsTheLineInTheEntry_data();
    void findsTheLineInTheEntry();
    void leavesOutFoldersInTheShortForm();
    void listsEveryLineOfTheUnit();
    void hasAnOptionForEachHint();

private:
    // The origin of a value of the plan, without the root.
    [[nodiscard]] QString originOf(const QByteArray &entry, const QString &setting,
                                   const QString &value);
    [[nodiscard]] Cli::DeclaredTask declare(const QByteArray &entry);

    TempRoot root;
    Client::StartRequest request;
};

namespace {

const char *const usualEntry =
    "[Desktop Entry]\nType=Application\nName=App\nExec=/opt/app\n"
    "[X-Application]\nOrganizationName=com.example\nApplicationName=Notes\n"
    "[X-Task sync]\nType=Sync\nExec=/opt/worker -v\n";

} // namespace

void TestOrigins::initTestCase()
{
    for (const char *program : {"/opt/worker", "/opt/app"}) {
        root.write(QString::fromLatin1(program), "\177ELF");
        QFile::setPermissions(root.path(QString::fromLatin1(program)),
                              QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    }
    for (const char *permission : {"BaseTask", "Audio"})
        root.write(u"/etc/sailjail/permissions/%1.permission"_s.arg(QLatin1String(permission)), "");
    request.user = u"appuser"_s;
    request.busName = u"com.example.Own"_s;
    request.permissions = QStringList{u"Audio"_s};
    request.params = QStringList{u"--fast"_s};
    request.weight = 7;
    request.cpuLimit = 9;
    request.unitSettings.insert(u"MemoryMax"_s, u"64M"_s);
    request.environment = QStringList{u"A=1"_s};
}

Cli::DeclaredTask TestOrigins::declare(const QByteArray &entry)
{
    const QString path = u"/usr/share/applications/notes.desktop"_s;
    root.write(path, entry);
    CollectedFindings findings;
    const Core::ApplicationInfo application(root.path(path), Places::below(root.path()), findings);
    return application.tasks().value(u"sync"_s);
}

QString TestOrigins::originOf(const QByteArray &entry, const QString &setting, const QString &value)
{
    const Cli::DeclaredTask task = declare(entry);
    const Cli::Rendering rendering = Cli::render(task, request, Places::below(root.path()));
    for (const ValueOrigin &origin : Cli::originsOf(rendering.plan, task, request)) {
        if (origin.setting == setting && origin.value == value)
            return origin.toString().remove(root.path());
    }
    return u"not there: "_s + rendering.error.message();
}

void TestOrigins::givesTheOriginOfEachValue_data()
{
    QTest::addColumn<QString>("setting");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("origin");
    const auto row = [](const char *setting, const char *value, const char *origin) {
        QTest::addRow("%s %s", setting, value)
            << QString::fromLatin1(setting) << QString::fromLatin1(value)
            << QString::fromLatin1(origin);
    };
    const char *const name = "/usr/share/applications/notes.desktop:7 (ApplicationName)";
    const char *const exec = "/usr/share/applications/notes.desktop:10 (Exec)";
    const char *const group = "/usr/share/applications/notes.desktop:8 (X-Task sync)";
    row("Description", "Background task for com.example.Notes.task_sync", group);
    row("After", "sailjail-prepare-binds.service", "default");
    row("Environment", "A=1", "--env");
    row("Environment", "HALCYN_APP_ID=com.example.Notes", name);
    row("Environment", "HALCYN_TASK_ID=sync", group);
    row("Environment", "QT_QPA_PLATFORM=minimal", "default");
    row("ExecStart", "/usr/bin/firejail", "default");
    row("ExecStart", "--template=OrganizationName:com.example",
        "/usr/share/applications/notes.desktop:6 (OrganizationName)");
    row("ExecStart", "--template=ApplicationName:Notes", name);
    row("ExecStart", "--profile=/etc/sailjail/permissions/Audio.permission",
        "/etc/sailjail/permissions/Audio.permission (Audio)");
    row("ExecStart", "--profile=/etc/sailjail/permissions/BaseTask.permission",
        "/etc/sailjail/permissions/BaseTask.permission (BaseTask)");
    row("ExecStart", "/opt/worker", exec);
    row("ExecStart", "-v", exec);
    row("ExecStart", "--fast", "--param");
    row("LimitCPU", "9", "--cpu-limit");
    row("MemoryMax", "64M", "--set");
    row("OOMScoreAdjust", "7", "--weight");
    row("User", "appuser", "--user");
    row("WantedBy", "multi-user.target", "default, without effect unless --at-boot");
    row("policy user", "appuser", "--user");
    row("policy own", "com.example.Own", "--own");
}

void TestOrigins::givesTheOriginOfEachValue()
{
    QFETCH(QString, setting);
    QFETCH(QString, value);
    QFETCH(QString, origin);
    QCOMPARE(originOf(usualEntry, setting, value), origin);
}

void TestOrigins::findsTheLineInTheEntry_data()
{
    QTest::addColumn<QByteArray>("entry");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("origin");
    const QByteArray head = "[Desktop Entry]\nType=Application\nName=App\nExec=/opt/app\n";
    const QByteArray task = "[X-Task sync]\nType=Sync\nExec=/opt/worker\n";
    const QByteArray id = "[X-Application]\nOrganizationName=com.example\nApplicationName=Notes\n";
    const QString file = u"/usr/share/applications/notes.desktop"_s;
    const QString organisation = u"--template=OrganizationName:com.example"_s;
    QTest::newRow("a task without a command line") << head + id + "[X-Task sync]\nType=Sync\n"
                                                   << u"/opt/app"_s << file + u":4 (Exec)"_s;
    QTest::newRow("an empty command line") << head + id + "[X-Task sync]\nType=Sync\nExec=\n"
                                           << u"/opt/app"_s << file + u":4 (Exec)"_s;
    QTest::newRow("the older group") << head + task + "[X-Sailjail]\n" + id.mid(16) << organisation
                                     << file + u":9 (OrganizationName)"_s;
    QTest::newRow("an empty name in the newer group")
        << head + "[X-Application]\nOrganizationName=\n[Sailjail]\n" + id.mid(16) + task
        << organisation << file + u":8 (OrganizationName)"_s;
    QTest::newRow("a key given twice")
        << head + "[X-Application]\nOrganizationName=org.old\n" + id.mid(16) + task << organisation
        << file + u":7 (OrganizationName)"_s;
    QTest::newRow("a name from the file's")
        << head + task << u"--template=ApplicationName:notes"_s << file + u" (ApplicationName)"_s;
}

void TestOrigins::findsTheLineInTheEntry()
{
    QFETCH(QByteArray, entry);
    QFETCH(QString, value);
    QFETCH(QString, origin);
    QCOMPARE(originOf(entry, u"ExecStart"_s, value), origin);
}

void TestOrigins::leavesOutFoldersInTheShortForm()
{
    const QString file = u"/usr/share/applications/notes.desktop"_s;
    ValueOrigin origin{{}, {}, {}, u"Exec"_s, file, 9};
    QCOMPARE(origin.toShortString(), u"notes.desktop:9 (Exec)"_s);
    origin.line = 0;
    QCOMPARE(origin.toShortString(), u"notes.desktop (Exec)"_s);
    QCOMPARE(origin.toString(), file + u" (Exec)"_s);
}

void TestOrigins::listsEveryLineOfTheUnit()
{
    const Cli::DeclaredTask task = declare(usualEntry);
    const Core::TaskPlan plan = Cli::render(task, request, Places::below(root.path())).plan;
    // Joins the words of each key to one line.
    QMap<QString, QStringList> words;
    QStringList keys;
    for (const ValueOrigin &origin : Cli::originsOf(plan, task, request)) {
        if (!words.contains(origin.setting) && !origin.setting.startsWith(QLatin1String("policy")))
            keys.append(origin.setting);
        words[origin.setting].append(origin.value);
    }
    QStringList lines;
    for (const QString &key : qAsConst(keys))
        lines.append(key + QLatin1Char('=') + words.value(key).join(QLatin1Char(' ')));
    QStringList unit = QString::fromUtf8(plan.unit()).split(QLatin1Char('\n'));
    unit = unit.filter(QLatin1String("="));
    QCOMPARE(lines, unit);
}

void TestOrigins::hasAnOptionForEachHint()
{
    QStringList options;
    for (const Cli::Option &option : Cli::startOptions())
        options.append(u"--"_s + option.name);
    const QStringList hints = request.hints().keys() + request.information().keys();
    QCOMPARE(hints.size(), 8);
    for (const QString &hint : hints)
        QVERIFY2(options.contains(Cli::optionOfHint(hint)), qPrintable(hint));
}

QTEST_GUILESS_MAIN(TestOrigins)
#include "tst_origins.moc"

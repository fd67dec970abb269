#include "cli/origins.h"
#include "cli/rendering.h"
#include "cli/start_options.h"
#include "common/places.h"
#include "support/collected_findings.h"
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
        root.write(QStringLiteral("/etc/sailjail/permissions/%1.permission")
                       .arg(QLatin1String(permission)),
                   "");
    request.user = QStringLiteral("appuser");
    request.busName = QStringLiteral("com.example.Own");
    request.permissions = QStringList{QStringLiteral("Audio")};
    request.params = QStringList{QStringLiteral("--fast")};
    request.weight = 7;
    request.cpuLimit = 9;
    request.unitSettings.insert(QStringLiteral("MemoryMax"), QStringLiteral("64M"));
    request.environment = QStringList{QStringLiteral("A=1")};
}

Cli::DeclaredTask TestOrigins::declare(const QByteArray &entry)
{
    const QString path = QStringLiteral("/usr/share/applications/notes.desktop");
    root.write(path, entry);
    CollectedFindings findings;
    const Core::ApplicationInfo application(root.path(path), Places::below(root.path()), findings);
    return application.tasks().value(QStringLiteral("sync"));
}

QString TestOrigins::originOf(const QByteArray &entry, const QString &setting, const QString &value)
{
    const Cli::DeclaredTask task = declare(entry);
    const Cli::Rendering rendering = Cli::render(task, request, Places::below(root.path()));
    for (const ValueOrigin &origin : Cli::originsOf(rendering.plan, task, request)) {
        if (origin.setting == setting && origin.value == value)
            return origin.toString().remove(root.path());
    }
    return QStringLiteral("not there: ") + rendering.error.message();
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
    row("WantedBy", "multi-user.target", "default");
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
    const QString file = QStringLiteral("/usr/share/applications/notes.desktop");
    const QString organisation = QStringLiteral("--template=OrganizationName:com.example");
    QTest::newRow("a task without a command line")
        << head + id + "[X-Task sync]\nType=Sync\n"
        << QStringLiteral("/opt/app") << file + QStringLiteral(":4 (Exec)");
    QTest::newRow("an empty command line")
        << head + id + "[X-Task sync]\nType=Sync\nExec=\n"
        << QStringLiteral("/opt/app") << file + QStringLiteral(":4 (Exec)");
    QTest::newRow("the older group") << head + task + "[X-Sailjail]\n" + id.mid(16) << organisation
                                     << file + QStringLiteral(":9 (OrganizationName)");
    QTest::newRow("an empty name in the newer group")
        << head + "[X-Application]\nOrganizationName=\n[Sailjail]\n" + id.mid(16) + task
        << organisation << file + QStringLiteral(":8 (OrganizationName)");
    QTest::newRow("a key given twice")
        << head + "[X-Application]\nOrganizationName=org.old\n" + id.mid(16) + task << organisation
        << file + QStringLiteral(":7 (OrganizationName)");
    QTest::newRow("a name from the file's")
        << head + task << QStringLiteral("--template=ApplicationName:notes")
        << file + QStringLiteral(" (ApplicationName)");
}

void TestOrigins::findsTheLineInTheEntry()
{
    QFETCH(QByteArray, entry);
    QFETCH(QString, value);
    QFETCH(QString, origin);
    QCOMPARE(originOf(entry, QStringLiteral("ExecStart"), value), origin);
}

void TestOrigins::leavesOutFoldersInTheShortForm()
{
    const QString file = QStringLiteral("/usr/share/applications/notes.desktop");
    ValueOrigin origin{{}, {}, {}, QStringLiteral("Exec"), file, 9};
    QCOMPARE(origin.toShortString(), QStringLiteral("notes.desktop:9 (Exec)"));
    origin.line = 0;
    QCOMPARE(origin.toShortString(), QStringLiteral("notes.desktop (Exec)"));
    QCOMPARE(origin.toString(), file + QStringLiteral(" (Exec)"));
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
        options.append(QStringLiteral("--") + option.name);
    const QStringList hints = request.hints().keys() + request.information().keys();
    QCOMPARE(hints.size(), 8);
    for (const QString &hint : hints)
        QVERIFY2(options.contains(Cli::optionOfHint(hint)), qPrintable(hint));
}

QTEST_GUILESS_MAIN(TestOrigins)
#include "tst_origins.moc"

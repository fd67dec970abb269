// For every rule, a file that violates it, and the place that the reader reports.

#include "common/Core/application_catalogue.h"
#include "common/Core/mimeapps_list.h"
#include "common/Core/rules.h"
#include "common/Core/task_type_config.h"
#include "common/Core/version_overrides.h"
#include "common/autostart/settings.h"
#include "support/collected_findings.h"
#include "support/literals.h"
#include "support/root_places.h"

#include <QDir>
#include <QSet>
#include <QTest>

namespace {

struct Sample
{
    /// The rule that is violated: the first one that is reported.
    const Core::Rule *rule;
    const char *path;
    QByteArray text;
    const char *group = "";
    const char *key = "";
    int line = 0;
    /// Whether there is a directory instead of the file.
    bool isDirectory = false;
};

const char *const entryPath = "/usr/share/applications/App.desktop";
const char *const manifestPath = "/opt/app/com.example.App/current/manifest.json";
const char *const typePath = "/usr/share/orvane/task-types/Sync.conf";
const char *const overridesPath = "/etc/orvane/os-version-support.cfg";
const char *const autostartPath = "/etc/am/conf.d/x.conf";

// Adds six lines before the text.
QByteArray entry(const QByteArray &more)
{
    return "[Desktop Entry]\nType=Application\nName=x\n"
           "[X-Application]\nOrganizationName=com.example\nApplicationName=App\n"
        + more;
}

QByteArray repeated(const char *piece, int size) { return QByteArray(piece).repeated(size); }

QByteArray largeTasks()
{
    QByteArray text;
    for (int i = 0; i < 40; ++i)
        text += "[X-Task t" + QByteArray::number(i) + "]\nPermissions=" + repeated("abcd;", 1000)
            + "\n";
    return entry(text);
}

QVector<Sample> entrySamples()
{
    namespace Rules = Core::Rules;
    return {
        {&Rules::entryInvalid, entryPath, "text"},
        {&Rules::entryHidden, entryPath, "[Desktop Entry]\nName=x\nHidden=true\n", "Desktop Entry",
         "Hidden", 3},
        {&Rules::intentsSize, entryPath, entry("Intents=" + repeated("a;", 40000)), "X-Application",
         "Intents", 7},
        {&Rules::mimeTypesSize, entryPath,
         entry("[Desktop Entry]\nMimeType=" + repeated("a;", 2000)), "Desktop Entry", "MimeType",
         8},
        {&Rules::taskName, entryPath, entry("\n[X-Task my-sync]\nType=Sync\n"), "X-Task my-sync",
         "", 8},
        {&Rules::taskTwice, entryPath, entry("[X-Service a]\n[X-Task b]\n[X-Task a]\n"), "X-Task a",
         "", 9},
        {&Rules::taskSize, entryPath, entry("[X-Task a]\nExec=" + repeated("a", 20000)),
         "X-Task a"},
        {&Rules::tasksSize, entryPath, largeTasks(), "X-Task t28"},
    };
}

QVector<Sample> otherSamples()
{
    namespace Rules = Core::Rules;
    return {
        {&Rules::manifestUnreadable, manifestPath, {}, "", "", 0, true},
        {&Rules::manifestIgnored, manifestPath, "[]"},
        {&Rules::packageUnreadable,
         "/opt/app/com.example.App/current/halcyn.pkg",
         {},
         "",
         "",
         0,
         true},
        {&Rules::overridesUnreadable, overridesPath, {}, "", "", 0, true},
        {&Rules::overrideKey, overridesPath, "[Applications]\na.b=4.2\ncom*=4.2\n", "Applications",
         "com*", 3},
        {&Rules::overrideVersion, overridesPath, "[Applications]\na.b=new\n", "Applications", "a.b",
         2},
        {&Rules::taskTypeUnreadable, typePath, QByteArray((1 << 20) + 1, ' ')},
        {&Rules::taskTypeBoolean, typePath, "\n[TaskType]\nWorksInSession=perhaps\n", "TaskType",
         "WorksInSession", 3},
        {&Rules::mimeappsUnreadable, "/home/config/mimeapps.list", {}, "", "", 0, true},
        {&Rules::autostartUnreadable, autostartPath, QByteArray((1 << 20) + 1, ' ')},
        {&Rules::autostartId, autostartPath, "[Notes]\nautostart=true\n", "Notes"},
        {&Rules::autostartUser, autostartPath, "[a.b%7Cx]\nautostart=true\n", "a.b|x"},
        {&Rules::autostartBoolean, autostartPath, "[a.b]\n\nautostart=on\n", "a.b", "autostart", 3},
    };
}

QVector<Sample> samples() { return entrySamples() + otherSamples(); }

/// Reads every kind of file below a root.
QVector<Core::Finding> findingsOf(const TempRoot &root)
{
    CollectedFindings findings;
    const Places places = placesOf(root);
    const Core::ApplicationCatalogue catalogue(places, findings);
    (void)catalogue.tasksOfType(u"Sync"_s, findings);
    const Core::VersionOverrides overrides(places, findings);
    const Core::TaskTypeConfig type(u"Sync"_s, places, findings);
    (void)Core::readMimeappsList(places, findings);
    (void)Autostart::Settings(places, findings).enabledApplications(5);
    return findings.all;
}

} // namespace

class TestReaderFindings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void saysWhatIsWrongAndWhere_data();
    void saysWhatIsWrongAndWhere();
    void saysWhichEntryHasNoId();
    void saysWhichAutostartSettingsAreTooMuch();
    void saysWhereAManifestBreaksItsSyntax();
    void saysWhoseTasksAreTooManyOfOneType();
    void findsNothingInValidFiles();
    void hasASampleForEveryRule();
    void namesNoRuleTwice();
};

void TestReaderFindings::saysWhatIsWrongAndWhere_data()
{
    QTest::addColumn<int>("index");
    const QVector<Sample> all = samples();
    for (int i = 0; i < all.size(); ++i)
        QTest::newRow(all.at(i).rule->id) << i;
}

void TestReaderFindings::saysWhatIsWrongAndWhere()
{
    QFETCH(int, index);
    const Sample sample = samples().at(index);
    const TempRoot root;
    const QString path = QString::fromLatin1(sample.path);
    root.write(QString::fromLatin1(entryPath), entry({}));
    if (sample.isDirectory)
        QVERIFY(QDir().mkpath(root.path(path)));
    else
        root.write(path, sample.text);
    const QVector<Core::Finding> findings = findingsOf(root);
    QVERIFY(!findings.isEmpty());
    for (const Core::Finding &finding : findings) {
        QCOMPARE(finding.rule, QString::fromLatin1(sample.rule->id));
        QCOMPARE(finding.severity, sample.rule->severity);
        QCOMPARE(finding.file, root.path(path));
        QCOMPARE(finding.group, QString::fromLatin1(sample.group));
        QCOMPARE(finding.key, QString::fromLatin1(sample.key));
        QCOMPARE(finding.line, sample.line);
        QVERIFY(!finding.text.isEmpty());
    }
}

// Reads the entry directly, because a scan does not list hidden files.
void TestReaderFindings::saysWhichEntryHasNoId()
{
    const TempRoot root;
    root.write(u"/.desktop"_s, "[Desktop Entry]\nType=Application\nName=x\n");
    const QString path = root.path(u"/.desktop"_s);
    CollectedFindings findings;
    QVERIFY(!Core::ApplicationInfo(path, placesOf(root), findings).isValid());
    QCOMPARE(findings.rules(), QStringList{QString::fromLatin1(Core::Rules::entryId.id)});
    QCOMPARE(findings.all.constFirst().file, path);
}

void TestReaderFindings::saysWhichAutostartSettingsAreTooMuch()
{
    const TempRoot root;
    const QString path = u"/etc/am/conf.d/%1.conf"_s;
    for (int i = 0; i < 5; ++i)
        root.write(path.arg(i), QByteArray(1 << 20, ' '));
    const QVector<Core::Finding> findings = findingsOf(root);
    QCOMPARE(findings.size(), 1);
    QCOMPARE(findings.constFirst().rule, QString::fromLatin1(Core::Rules::autostartSize.id));
    QCOMPARE(findings.constFirst().file, root.path(path.arg(4)));
}

void TestReaderFindings::saysWhereAManifestBreaksItsSyntax()
{
    const TempRoot root;
    root.write(QString::fromLatin1(entryPath), entry({}));
    root.write(QString::fromLatin1(manifestPath), "{\n \"a\": 1,\n b\n}\n");
    const QVector<Core::Finding> findings = findingsOf(root);
    QCOMPARE(findings.size(), 2);
    QCOMPARE(findings.at(0).rule, QString::fromLatin1(Core::Rules::manifestIgnored.id));
    QCOMPARE(findings.at(1).rule, QString::fromLatin1(Core::Rules::manifestSyntax.id));
    QCOMPARE(findings.at(1).line, 3);
}

void TestReaderFindings::saysWhoseTasksAreTooManyOfOneType()
{
    const TempRoot root;
    QByteArray tasks;
    for (int i = 0; i < 40; ++i)
        tasks += "[X-Task t" + QByteArray::number(i)
            + "]\nType=Sync\nPermissions=" + repeated("abcd;", 400) + "\n";
    for (int i = 0; i < 60; ++i)
        root.writeApplication(u"A%1"_s.arg(i), tasks);
    const QVector<Core::Finding> findings = findingsOf(root);
    QCOMPARE(findings.size(), 1);
    QCOMPARE(findings.constFirst().rule, QString::fromLatin1(Core::Rules::taskListSize.id));
    QVERIFY(findings.constFirst().file.endsWith(QLatin1String(".desktop")));
}

void TestReaderFindings::findsNothingInValidFiles()
{
    const TempRoot root;
    root.write(QString::fromLatin1(entryPath),
               entry("Intents=Share/image:a|b\n[X-Task sync]\nType=Sync\nExec=/usr/bin/app\n"));
    root.write(QString::fromLatin1(manifestPath), "{\"keepMediaActiveInBackground\": true}");
    root.write(u"/opt/app/com.example.App/current/halcyn.pkg"_s, "[certificate]\nid=abc\n");
    root.write(QString::fromLatin1(overridesPath), "[Applications]\n*=4.2.0\ncom.example.*=5\n");
    root.write(QString::fromLatin1(typePath), "[TaskType]\nWorksInSession=No\n");
    root.write(u"/home/config/mimeapps.list"_s, "[Default Applications]\na/b=c;\n");
    root.write(QString::fromLatin1(autostartPath), "[com.example.App]\nautostart=true\n");
    for (const Core::Finding &finding : findingsOf(root))
        QFAIL(qPrintable(finding.rule + QLatin1Char(' ') + finding.text));
}

void TestReaderFindings::hasASampleForEveryRule()
{
    QSet<QString> shown;
    const QVector<Sample> all = samples();
    for (const Sample &sample : all)
        shown.insert(QString::fromLatin1(sample.rule->id));
    // Rules that other tests cover, here and in the tests of the catalogue and the planner.
    for (const Core::Rule *rule :
         {&Core::Rules::entryId, &Core::Rules::autostartSize, &Core::Rules::manifestSyntax,
          &Core::Rules::taskListSize, &Core::Rules::entryIdTwice, &Core::Rules::entryShadowed,
          &Core::Rules::fileNameShadowed, &Core::Rules::unknownPermission,
          &Core::Rules::refusedBySandbox})
        shown.insert(QString::fromLatin1(rule->id));
    for (const Core::Rule *rule : Core::Rules::all)
        QVERIFY2(shown.contains(QString::fromLatin1(rule->id)), rule->id);
}

void TestReaderFindings::namesNoRuleTwice()
{
    QSet<QString> ids;
    for (const Core::Rule *rule : Core::Rules::all) {
        const QString id = QString::fromLatin1(rule->id);
        QVERIFY2(!ids.contains(id), rule->id);
        ids.insert(id);
        QVERIFY2(QByteArray(rule->sentence).endsWith('.'), rule->id);
    }
}

QTEST_GUILESS_MAIN(TestReaderFindings)
#include "tst_reader_findings.moc"

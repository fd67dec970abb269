#include "common/Core/application_catalogue.h"
#include "common/Core/entry_records.h"
#include "common/Core/findings.h"
#include "common/Core/manifest.h"
#include "common/Core/package_folders.h"
#include "support/collected_findings.h"
#include "support/literals.h"
#include "support/root_places.h"

#include <QDir>
#include <QFile>
#include <QTest>

using Core::ApplicationCatalogue;
using Core::ApplicationId;
using Core::ApplicationTaskId;

class TestApplicationCatalogue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void knowsNothingByDefault();
    void doesNotChangeAfterTheScan();
    void makesAListOfOneTypeOnce();
    void tellsWhichFilesAreShadowed();
    void tellsWhichFileANameRefersTo();
    void tellsWhichFilesAreNoEntries();
    void announcesWhatItReadsBeforeItReadsIt();
    void findsThePackagesOfAnImageBehindItsLinks();
    void readsNothingButTheTasksWhereAskedTo();

private:
    [[nodiscard]] ApplicationCatalogue scan()
    {
        findings.all.clear();
        return {placesOf(*root), findings};
    }
    [[nodiscard]] QString system(const char *name) const { return root->path(below(name)); }
    static QString below(const char *name)
    {
        return u"/usr/share/applications/"_s + QString::fromLatin1(name);
    }
    static QString belowHome(const char *name)
    {
        return u"/home/data/applications/"_s + QString::fromLatin1(name);
    }

    std::unique_ptr<TempRoot> root;
    CollectedFindings findings;
};

namespace {

QByteArray entryOf(const char *name)
{
    return QByteArray("[Desktop Entry]\nType=Application\nName=x\n[X-Application]\n"
                      "OrganizationName=com.example\nApplicationName=")
        + name + "\n[X-Task sync]\nType=Sync\nExec=/bin/x\n";
}

} // namespace

void TestApplicationCatalogue::init() { root = std::make_unique<TempRoot>(); }

void TestApplicationCatalogue::findsThePackagesOfAnImageBehindItsLinks()
{
    root->write(below("app.desktop"), entryOf("App"));
    root->write(u"/srv/app/com.example.App/current/manifest.json"_s, "{}");
    QVERIFY(QDir().mkpath(root->path(u"/opt"_s)));
    // In this system the link has another target.
    QVERIFY(QFile::link(u"/srv/app"_s, root->path(u"/opt/app"_s)));
    const ApplicationCatalogue catalogue(Places::below(root->path()), findings);
    const Core::ApplicationInfo info = catalogue.application(ApplicationId(u"com.example.App"_s));
    QVERIFY(info.manifest().isValid());
    QVERIFY(info.packageStates().manifest.exists);
}

void TestApplicationCatalogue::readsNothingButTheTasksWhereAskedTo()
{
    root->write(below("app.desktop"), entryOf("App"));
    root->write(u"/opt/app/com.example.App/current/manifest.json"_s, "{}");
    const ApplicationCatalogue catalogue(placesOf(*root), findings, Core::ApplicationInfo::Tasks);
    const Core::ApplicationInfo info = catalogue.application(ApplicationId(u"com.example.App"_s));
    QCOMPARE(info.tasks().size(), 1);
    QCOMPARE(info.name(), QString());
    QVERIFY(!info.manifest().isValid());
    // Incomplete records are not cached.
    Core::EntryRecords records(Core::ApplicationInfo::Tasks);
    for (int look = 1; look <= 2; ++look) {
        const ApplicationCatalogue next(placesOf(*root), findings, records);
        QCOMPARE(records.readCount(), look);
    }
    QVERIFY(!records.hasUnsavedChanges());
}

void TestApplicationCatalogue::knowsNothingByDefault()
{
    const ApplicationCatalogue catalogue;
    QVERIFY(catalogue.applications().isEmpty());
    QVERIFY(!catalogue.task(ApplicationTaskId(u"a.b.task_c"_s)).taskId.isValid());
}

void TestApplicationCatalogue::doesNotChangeAfterTheScan()
{
    root->writeApplication(u"Notes"_s, "[X-Task sync]\nType=Sync\n");
    const ApplicationCatalogue before = scan();
    QCOMPARE(findings.rules(), QStringList());
    root->remove(below("Notes.desktop"));
    const ApplicationTaskId task(u"com.example.Notes.task_sync"_s);
    QCOMPARE(before.task(task).type, u"Sync"_s);
    QCOMPARE(before.task(task).file, system("Notes.desktop"));
    QCOMPARE(before.task(task).group, u"X-Task sync"_s);
    QCOMPARE(before.tasksOfType(u"Sync"_s, findings).size(), 1);
    QVERIFY(scan().applications().isEmpty());
}

void TestApplicationCatalogue::makesAListOfOneTypeOnce()
{
    root->writeApplication(u"Notes"_s, "[X-Task sync]\nType=Sync\n");
    const ApplicationCatalogue catalogue = scan();
    const ApplicationCatalogue copy = catalogue;
    const QString type = u"Sync"_s;
    const auto first = catalogue.tasksOfType(type, findings);
    QCOMPARE(first.size(), 1);
    // The same list, not a copy.
    QCOMPARE(&catalogue.tasksOfType(type, findings).constFirst(), &first.constFirst());
    QCOMPARE(&copy.tasksOfType(type, findings).constFirst(), &first.constFirst());
    root->writeApplication(u"Other"_s, "[X-Task sync]\nType=Sync\n");
    QCOMPARE(scan().tasksOfType(type, findings).size(), 2);
    QCOMPARE(catalogue.tasksOfType(type, findings).size(), 1);
    QVERIFY(catalogue.tasksOfType(u"None"_s, findings).isEmpty());
}

void TestApplicationCatalogue::tellsWhichFilesAreShadowed()
{
    root->write(belowHome("mine.desktop"), entryOf("App"));
    root->write(below("aaa.desktop"), entryOf("App"));
    root->write(below("com.example.App.desktop"), entryOf("App"));
    const ApplicationCatalogue catalogue = scan();
    const auto shadowed = catalogue.shadowed();
    QCOMPARE(shadowed.size(), 2);
    QCOMPARE(shadowed.at(0).reason, ApplicationCatalogue::Shadowed::SameIdInFolder);
    QCOMPARE(shadowed.at(0).file, system("aaa.desktop"));
    QCOMPARE(shadowed.at(0).by, system("com.example.App.desktop"));
    QCOMPARE(shadowed.at(1).reason, ApplicationCatalogue::Shadowed::SameIdInEarlierFolder);
    QCOMPARE(shadowed.at(1).file, system("com.example.App.desktop"));
    QCOMPARE(shadowed.at(1).by, root->path(belowHome("mine.desktop")));
    QCOMPARE(shadowed.at(1).application, u"com.example.App"_s);
    QCOMPARE(findings.rules(), QStringList({u"entry-id-twice"_s, u"entry-shadowed"_s}));
    QCOMPARE(findings.all.constFirst().file, system("aaa.desktop"));
}

void TestApplicationCatalogue::tellsWhichFileANameRefersTo()
{
    root->write(belowHome("app.desktop"), entryOf("Mine"));
    root->write(below("app.desktop"), entryOf("Systems"));
    const ApplicationCatalogue catalogue = scan();
    QCOMPARE(catalogue.applications().size(), 2);
    QCOMPARE(catalogue.fileToApplication().value(u"app.desktop"_s), u"com.example.Mine"_s);
    QCOMPARE(catalogue.shadowed().size(), 1);
    QCOMPARE(catalogue.shadowed().constFirst().reason,
             ApplicationCatalogue::Shadowed::SameFileName);
    QCOMPARE(catalogue.shadowed().constFirst().application, u"com.example.Systems"_s);
    QCOMPARE(findings.rules(), QStringList{u"file-name-shadowed"_s});
}

void TestApplicationCatalogue::tellsWhichFilesAreNoEntries()
{
    root->write(below("b.desktop"), "text");
    root->write(below("a.desktop"), "");
    root->write(below("c.desktop"), entryOf("App"));
    const ApplicationCatalogue catalogue = scan();
    QCOMPARE(catalogue.invalidFiles(), QStringList({system("a.desktop"), system("b.desktop")}));
    QCOMPARE(findings.rules(), QStringList({u"entry-invalid"_s, u"entry-invalid"_s}));
}

void TestApplicationCatalogue::announcesWhatItReadsBeforeItReadsIt()
{
    root->write(below("app.desktop"), "text");
    QStringList announced;
    // The content at the time of the announcement is read.
    Core::EntryRecords records;
    const auto change = [&](const QString &path, const ListedFile *file) {
        announced.append(path);
        if (path.endsWith(QLatin1String("/app.desktop")))
            root->write(below("app.desktop"), entryOf("App"));
        else if (file == nullptr)
            root->write(below("another.desktop"), entryOf("Another"));
    };
    const ApplicationCatalogue catalogue(placesOf(*root), findings, records, change);
    QCOMPARE(announced,
             QStringList({root->path(u"/home/data/applications"_s),
                          root->path(u"/usr/share/applications"_s), system("another.desktop"),
                          system("app.desktop")}));
    QCOMPARE(catalogue.applications().size(), 2);
}

QTEST_GUILESS_MAIN(TestApplicationCatalogue)
#include "tst_application_catalogue.moc"

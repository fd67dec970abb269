#include "common/Core/application_registry.h"
#include "common/Core/findings.h"
#include "common/Core/task_bounds.h"
#include "common/scan_throttle.h"
#include "support/descriptor_limit.h"
#include "support/literals.h"
#include "support/root_places.h"
#include "support/temp_root.h"
#include "unit/common/Core/log_lines.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QSignalSpy>
#include <QTest>
#include <QUrl>

#include <csignal>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <functional>
#include <sys/stat.h>
#include <unistd.h>

using Core::ApplicationId;
using Core::ApplicationRegistry;
using Core::ApplicationTaskId;

class TestApplicationRegistry : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { registry.reset(); }

    void knowsWhatIsInstalled();
    void givesTasksInOrder();
    void answersEmptyForTheUnknown();
    void skipsInvalidEntries();
    void noticesANewEntryOnce();
    void noticesARemovedEntryOnce();
    void noticesAReplacedEntryEachTime();
    void noticesARewrittenEntryAfterAReplacement();
    void noticesEachKindOfChange_data();
    void noticesEachKindOfChange();
    void noticesThatTheDirectoryIsRemovedAndMadeAgain();
    void noticesADirectoryThatIsMadeLater();
    void keepsWhatItKnowsWhileItCannotRead();
    void keepsWhatItKnowsOfADirectoryThatItCannotList();
    void keepsAnEntryThatItCannotRead();
    void forgetsADirectoryThatIsGone();
    void loadsTheVersionOverridesLater();
    void scansAgainWhileAnEntryIsWritten();
    void scansSeldomWhilePackagesAreInstalled();
    void readsAManifestAgainAtAScan();
    void prefersTheEarlierDirectory();
    void prefersTheFirstFileByName();
    void prefersTheFileThatIsNamedByItsId();
    void prefersTheFileFromWhoseNameTheIdFollows();
    void keepsTheEarlierDirectoryWhateverItsFileIsCalled();
    void keepsTheTasksOfOneTypeWithinTheBound();
    void needsLittleTimeForAnyEntry_data();
    void needsLittleTimeForAnyEntry();
    void computesTheCompatibilityLevel_data();
    void computesTheCompatibilityLevel();

private:
    void load()
    {
        registry = std::make_unique<ApplicationRegistry>(placesOf(*root),
                                                         Core::LoggedFindings::instance());
    }
    [[nodiscard]] bool knows(const char *id) const
    {
        return registry->application(ApplicationId(QString::fromLatin1(id))).isValid();
    }
    static ApplicationTaskId task(const char *id)
    {
        return ApplicationTaskId(QString::fromLatin1(id));
    }

    static QString entryFile(const char *application)
    {
        return u"/usr/share/applications/%1.desktop"_s.arg(QLatin1String(application));
    }

    /// Installs an entry atomically, as a package manager does: writes a temporary file and renames
    /// it.
    void install(const QString &application, const QByteArray &groups = {}) const
    {
        TempRoot staging;
        staging.writeApplication(application, groups);
        const QString below = u"/usr/share/applications/%1.desktop"_s.arg(application);
        const QString beside = root->path(u"/beside"_s);
        QFile::remove(beside);
        QVERIFY(QFile::copy(staging.path(below), beside));
        QCOMPARE(std::rename(qPrintable(beside), qPrintable(root->path(below))), 0);
    }

    std::unique_ptr<TempRoot> root;
    std::unique_ptr<ApplicationRegistry> registry;
};

void TestApplicationRegistry::init()
{
    root = std::make_unique<TempRoot>();
    // For the MIME database.
    qputenv("XDG_DATA_HOME", root->path(u"/home/data"_s).toUtf8());
    qputenv("XDG_DATA_DIRS", root->path(u"/usr/share"_s).toUtf8());
}

void TestApplicationRegistry::knowsWhatIsInstalled()
{
    root->writeApplication(u"Notes"_s, "[X-Task sync]\nType=Sync\n");
    load();
    QVERIFY(knows("com.example.Notes"));
    QCOMPARE(registry->task(task("com.example.Notes.task_sync")).type, u"Sync"_s);
}

void TestApplicationRegistry::givesTasksInOrder()
{
    const QByteArray tasks =
        "[X-Task b]\nType=Sync\n[X-Task a]\nType=Sync\n[X-Task c]\nType=sync\n";
    root->writeApplication(u"Zoo"_s, tasks);
    root->writeApplication(u"Ant"_s, tasks);
    load();
    QStringList ids;
    const auto ofType = registry->tasksOfType(u"Sync"_s);
    for (const auto &info : ofType)
        ids.append(info.taskId.toString());
    QCOMPARE(ids,
             QStringList({u"com.example.Ant.task_a"_s, u"com.example.Ant.task_b"_s,
                          u"com.example.Zoo.task_a"_s, u"com.example.Zoo.task_b"_s}));
    ids.clear();
    const auto ofAnt = registry->tasksOfApplication(ApplicationId(u"com.example.Ant"_s));
    for (const auto &info : ofAnt)
        ids.append(info.taskId.taskName().toString());
    QCOMPARE(ids, QStringList({u"a"_s, u"b"_s, u"c"_s}));
}

void TestApplicationRegistry::answersEmptyForTheUnknown()
{
    root->writeApplication(u"Notes"_s, {});
    load();
    const auto &noTask = registry->task(task("com.example.Notes.task_none"));
    const auto &noApplication = registry->task(task("com.example.None.task_sync"));
    QVERIFY(!noTask.taskId.isValid());
    QCOMPARE(&noTask, &noApplication);
    QVERIFY(!registry->application(ApplicationId(u"a.b"_s)).isValid());
    QVERIFY(registry->tasksOfApplication(ApplicationId(u"a.b"_s)).isEmpty());
    QVERIFY(registry->tasksOfType(u"Sync"_s).isEmpty());
}

void TestApplicationRegistry::skipsInvalidEntries()
{
    root->write(u"/usr/share/applications/a.desktop"_s, "nothing");
    root->write(u"/usr/share/applications/sub/below.desktop"_s,
                "[Desktop Entry]\nType=Application\nName=Below\n");
    root->writeApplication(u"Notes"_s, {});
    load();
    QVERIFY(knows("com.example.Notes"));
    QVERIFY(!knows("org.zarn.below"));
}

void TestApplicationRegistry::noticesANewEntryOnce()
{
    load();
    QSignalSpy changed(registry.get(), &ApplicationRegistry::manifestsChanged);
    install(u"Notes"_s);
    QTRY_VERIFY_WITH_TIMEOUT(knows("com.example.Notes"), 30000);
    // Events about the old file arrive before those about this one.
    install(u"Other"_s);
    QTRY_VERIFY_WITH_TIMEOUT(knows("com.example.Other"), 30000);
    QCOMPARE(changed.size(), 2);
}

void TestApplicationRegistry::noticesARemovedEntryOnce()
{
    root->writeApplication(u"Notes"_s, {});
    load();
    QSignalSpy changed(registry.get(), &ApplicationRegistry::manifestsChanged);
    root->remove(u"/usr/share/applications/Notes.desktop"_s);
    QTRY_VERIFY_WITH_TIMEOUT(!knows("com.example.Notes"), 30000);
    install(u"Other"_s);
    QTRY_VERIFY_WITH_TIMEOUT(knows("com.example.Other"), 30000);
    QCOMPARE(changed.size(), 2);
}

void TestApplicationRegistry::noticesAReplacedEntryEachTime()
{
    root->writeApplication(u"Notes"_s, {});
    load();
    for (const char *type : {"First", "Second", "Third"}) {
        install(u"Notes"_s, QByteArray("[X-Task sync]\nType=") + type + "\n");
        QTRY_COMPARE_WITH_TIMEOUT(registry->task(task("com.example.Notes.task_sync")).type,
                                  QString::fromLatin1(type), 30000);
    }
}

void TestApplicationRegistry::noticesARewrittenEntryAfterAReplacement()
{
    root->writeApplication(u"Notes"_s, {});
    load();
    install(u"Notes"_s, "[X-Task sync]\nType=First\n");
    QTRY_COMPARE_WITH_TIMEOUT(registry->task(task("com.example.Notes.task_sync")).type, u"First"_s,
                              30000);
    // The watch on the directory does not report writes to this file, so the new file itself must
    // be watched.
    root->writeApplication(u"Notes"_s, "[X-Task sync]\nType=Second\n");
    QTRY_COMPARE_WITH_TIMEOUT(registry->task(task("com.example.Notes.task_sync")).type, u"Second"_s,
                              30000);
}

namespace {

// An entry of com.example.Notes whose task has this type.
QByteArray notesOfType(const char *type)
{
    return QByteArray("[Desktop Entry]\nType=Application\nName=Notes\n[X-Application]\n"
                      "OrganizationName=com.example\nApplicationName=Notes\n[X-Task sync]\nType=")
        + type + "\n";
}

void replace(const QString &path, const QByteArray &text)
{
    QFile beside(path + u".new"_s);
    QVERIFY(beside.open(QIODevice::WriteOnly));
    QCOMPARE(beside.write(text), text.size());
    beside.close();
    QCOMPARE(std::rename(qPrintable(beside.fileName()), qPrintable(path)), 0);
}

void overwrite(const QString &path, const QByteArray &text)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(text), text.size());
}

using Change = std::function<void(const QString &entry, const QString &elsewhere)>;

} // namespace

Q_DECLARE_METATYPE(Change)

void TestApplicationRegistry::noticesEachKindOfChange_data()
{
    QTest::addColumn<Change>("before");
    QTest::addColumn<Change>("change");
    // The type of the task afterwards; empty when the application is unknown.
    QTest::addColumn<QString>("type");
    const QString other = u"Other"_s;
    const Change none = [](const QString &, const QString &) {};
    const Change written = [](const QString &entry, const QString &) {
        overwrite(entry, notesOfType("First"));
    };
    const Change link = [](const QString &entry, const QString &elsewhere) {
        overwrite(elsewhere, notesOfType("First"));
        QVERIFY(QFile::link(elsewhere, entry));
    };
    const Change secondName = [](const QString &entry, const QString &elsewhere) {
        overwrite(elsewhere, notesOfType("First"));
        QCOMPARE(::link(qPrintable(elsewhere), qPrintable(entry)), 0);
    };
    const Change write = [](const QString &entry, const QString &) {
        overwrite(entry, notesOfType("Other"));
    };
    const Change writeElsewhere = [](const QString &, const QString &elsewhere) {
        overwrite(elsewhere, notesOfType("Other"));
    };
    QTest::newRow("a new entry") << none << write << other;
    QTest::newRow("a rewritten entry") << written << write << other;
    QTest::newRow("a replaced entry")
        << written << Change([](const QString &entry, const QString &) {
               replace(entry, notesOfType("Other"));
           })
        << other;
    QTest::newRow("a deleted entry")
        << written
        << Change([](const QString &entry, const QString &) { QVERIFY(QFile::remove(entry)); })
        << QString();
    QTest::newRow("an entry that is moved away")
        << written << Change([](const QString &entry, const QString &elsewhere) {
               QCOMPARE(std::rename(qPrintable(entry), qPrintable(elsewhere)), 0);
           })
        << QString();
    QTest::newRow("an entry that is cut off")
        << written << Change([](const QString &entry, const QString &) {
               QCOMPARE(::truncate(qPrintable(entry), 0), 0);
           })
        << QString();
    QTest::newRow("the target of a link is rewritten") << link << writeElsewhere << other;
    QTest::newRow("the target of a link is replaced")
        << link << Change([](const QString &, const QString &elsewhere) {
               replace(elsewhere, notesOfType("Other"));
           })
        << other;
    QTest::newRow("the target of a link is deleted")
        << link << Change([](const QString &, const QString &elsewhere) {
               QVERIFY(QFile::remove(elsewhere));
           })
        << QString();
    QTest::newRow("an entry is written under its other name")
        << secondName << writeElsewhere << other;
}

void TestApplicationRegistry::noticesEachKindOfChange()
{
    QFETCH(Change, before);
    QFETCH(Change, change);
    QFETCH(QString, type);
    const QString entry = root->path(u"/usr/share/applications/notes.desktop"_s);
    const QString elsewhere = root->path(u"/elsewhere"_s);
    before(entry, elsewhere);
    load();
    change(entry, elsewhere);
    QTRY_COMPARE_WITH_TIMEOUT(registry->task(task("com.example.Notes.task_sync")).type, type,
                              30000);
    QCOMPARE(knows("com.example.Notes"), !type.isEmpty());
}

void TestApplicationRegistry::noticesThatTheDirectoryIsRemovedAndMadeAgain()
{
    root->writeApplication(u"Notes"_s, {});
    load();
    const QString directory = root->path(u"/usr/share/applications"_s);
    const QString aside = root->path(u"/usr/aside"_s);
    QVERIFY(QDir().rename(directory, aside));
    QTRY_VERIFY_WITH_TIMEOUT(!knows("com.example.Notes"), 30000);
    QVERIFY(QDir().rename(aside, directory));
    QTRY_VERIFY_WITH_TIMEOUT(knows("com.example.Notes"), 30000);
    root->writeApplication(u"Other"_s, {});
    QTRY_VERIFY_WITH_TIMEOUT(knows("com.example.Other"), 30000);
}

void TestApplicationRegistry::noticesADirectoryThatIsMadeLater()
{
    load();
    root->write(u"/home/data/applications/notes.desktop"_s, notesOfType("First"));
    QTRY_VERIFY_WITH_TIMEOUT(knows("com.example.Notes"), 30000);
}

void TestApplicationRegistry::keepsWhatItKnowsWhileItCannotRead()
{
    root->writeApplication(u"Notes"_s, "[X-Task sync]\nType=Sync\n");
    root->writeApplication(u"Old"_s, {});
    load();
    TempRoot staging;
    staging.writeApplication(u"New"_s, {});
    const QByteArray from = staging.path(entryFile("New")).toUtf8();
    const QByteArray to = root->path(entryFile("New")).toUtf8();
    const QByteArray old = root->path(entryFile("Old")).toUtf8();
    QSignalSpy scans(registry.get(), &ApplicationRegistry::manifestsChanged);
    {
        const NoDescriptors limit;
        QCOMPARE(std::rename(from.constData(), to.constData()), 0);
        QCOMPARE(::unlink(old.constData()), 0);
        QTRY_VERIFY(scans.count() >= 1);
        QVERIFY(knows("com.example.Notes"));
        QCOMPARE(registry->task(task("com.example.Notes.task_sync")).type, u"Sync"_s);
    }
    // No further change causes a scan.
    QTRY_VERIFY(knows("com.example.New") && !knows("com.example.Old"));
    QVERIFY(knows("com.example.Notes"));
}

void TestApplicationRegistry::keepsWhatItKnowsOfADirectoryThatItCannotList()
{
    root->writeApplication(u"Notes"_s, {});
    load();
    QSignalSpy scans(registry.get(), &ApplicationRegistry::manifestsChanged);
    const QString folder = root->path(u"/usr/share/applications"_s);
    const QString beside = root->path(u"/beside"_s);
    QVERIFY(QDir().rename(folder, beside));
    QVERIFY(QFile::link(folder, folder));
    QTRY_VERIFY(scans.count() >= 2);
    QVERIFY(knows("com.example.Notes"));
    // Scanned again at increasing intervals.
    QTRY_VERIFY(scans.count() >= 4);
    QVERIFY(knows("com.example.Notes"));
}

void TestApplicationRegistry::keepsAnEntryThatItCannotRead()
{
    root->writeApplication(u"Notes"_s, {});
    load();
    QSignalSpy scans(registry.get(), &ApplicationRegistry::manifestsChanged);
    // A lease on a file keeps other processes from opening it.
    const QByteArray path = root->path(entryFile("Notes")).toUtf8();
    const int fd = ::open(path.constData(), O_RDWR | O_CLOEXEC);
    QVERIFY(fd >= 0);
    std::signal(SIGIO, SIG_IGN);
    const bool hasLease = ::fcntl(fd, F_SETLEASE, F_WRLCK) == 0;
    QCOMPARE(::fchmod(fd, 0640), 0);
    if (hasLease)
        QTRY_VERIFY(scans.count() >= 1);
    const bool knew = knows("com.example.Notes");
    ::close(fd);
    std::signal(SIGIO, SIG_DFL);
    if (!hasLease)
        QSKIP("This file system knows no leases");
    QVERIFY(knew);
}

void TestApplicationRegistry::forgetsADirectoryThatIsGone()
{
    root->writeApplication(u"Notes"_s, {});
    load();
    QVERIFY(QDir(root->path(u"/usr/share/applications"_s)).removeRecursively());
    QTRY_VERIFY(!knows("com.example.Notes"));
}

void TestApplicationRegistry::loadsTheVersionOverridesLater()
{
    root->write(u"/etc/orvane/os-version-support.cfg"_s, "[Applications]\n*=4.3\n");
    {
        const NoDescriptors limit;
        load();
    }
    QTRY_COMPARE(registry->compatibilityLevel(ApplicationId(u"com.example.Notes"_s)), 1);
}

void TestApplicationRegistry::scansAgainWhileAnEntryIsWritten()
{
    load();
    QFile entry(root->path(u"/usr/share/applications/notes.desktop"_s));
    QVERIFY(entry.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    QSignalSpy changed(registry.get(), &ApplicationRegistry::manifestsChanged);
    QVERIFY(changed.wait(30000));
    QCOMPARE(entry.write(notesOfType("First")), notesOfType("First").size());
    QTRY_VERIFY_WITH_TIMEOUT(knows("com.example.Notes"), 30000);
}

void TestApplicationRegistry::scansSeldomWhilePackagesAreInstalled()
{
    load();
    QSignalSpy changed(registry.get(), &ApplicationRegistry::manifestsChanged);
    QElapsedTimer time;
    time.start();
    constexpr int count = 60;
    for (int i = 0; i < count; ++i) {
        install(u"App%1"_s.arg(i));
        // Until the events of this change have arrived.
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    QTRY_VERIFY_WITH_TIMEOUT(knows("com.example.App59"), 30000);
    // At once, soon once more, then at the limited rate.
    const auto most = 2 + time.elapsed() / ScanThrottle::longGap + 1;
    QVERIFY2(changed.size() <= most, qPrintable(QString::number(changed.size())));
    QVERIFY(knows("com.example.App0"));
}

void TestApplicationRegistry::readsAManifestAgainAtAScan()
{
    root->writeApplication(u"Notes"_s, {});
    load();
    const ApplicationId id(u"com.example.Notes"_s);
    QCOMPARE(registry->compatibilityLevel(id), 0);
    root->write(u"/opt/app/com.example.Notes/current/manifest.json"_s, "{}");
    // The package is not watched, but checked at each scan, which a change of any entry causes.
    install(u"Other"_s);
    QTRY_VERIFY_WITH_TIMEOUT(knows("com.example.Other"), 30000);
    QCOMPARE(registry->compatibilityLevel(id), 2);
}

void TestApplicationRegistry::prefersTheEarlierDirectory()
{
    const QByteArray entry = "[Desktop Entry]\nType=Application\nName=%\n"
                             "[X-Application]\nOrganizationName=com.example\nApplicationName=App\n";
    root->write(u"/home/data/applications/z.desktop"_s, QByteArray(entry).replace('%', "User"));
    root->write(u"/usr/share/applications/a.desktop"_s, QByteArray(entry).replace('%', "System"));
    load();
    QCOMPARE(registry->application(ApplicationId(u"com.example.App"_s)).name(), u"User"_s);
}

void TestApplicationRegistry::prefersTheFirstFileByName()
{
    const QByteArray entry = "[Desktop Entry]\nType=Application\nName=%\n"
                             "[X-Application]\nOrganizationName=com.example\nApplicationName=App\n";
    for (const char *name : {"m", "z", "a", "k"})
        root->write(u"/usr/share/applications/%1.desktop"_s.arg(QString::fromLatin1(name)),
                    QByteArray(entry).replace("%", name));
    const LogLines log;
    load();
    QCOMPARE(registry->application(ApplicationId(u"com.example.App"_s)).name(), u"a"_s);
    const QStringList lines = log.taken();
    QCOMPARE(lines.size(), 3);
    for (const QString &line : lines)
        QVERIFY(line.contains(QLatin1String("/a.desktop\" is used, not \"")));
    QVERIFY(lines.first().endsWith(QLatin1String("/k.desktop\"")));
}

namespace {

// An entry of com.example.App with this name, to tell several entries apart.
QByteArray entryCalled(const char *name, const char *mimeType)
{
    return QByteArray("[Desktop Entry]\nType=Application\nExec=/bin/a\nName=") + name
        + "\nMimeType=x-scheme-handler/" + mimeType
        + ";\n[X-Application]\nOrganizationName=com.example\nApplicationName=App\n"
          "[X-Task sync]\nType=Sync\nExec=/bin/"
        + name + "\n";
}

} // namespace

void TestApplicationRegistry::prefersTheFileThatIsNamedByItsId()
{
    const QString directory = u"/usr/share/applications/"_s;
    root->write(directory + u"aaa.desktop"_s, entryCalled("thief", "stolen"));
    root->write(directory + u"com.example.App.desktop"_s, entryCalled("owner", "own"));
    root->write(directory + u"zzz.desktop"_s, entryCalled("late", "late"));
    root->write(u"/home/config/mimeapps.list"_s,
                "[Default Applications]\nx-scheme-handler/other=aaa.desktop;\n");
    const LogLines log;
    load();
    const auto info = registry->application(ApplicationId(u"com.example.App"_s));
    QCOMPARE(info.name(), u"owner"_s);
    QCOMPARE(registry->task(task("com.example.App.task_sync")).exec, u"/bin/owner"_s);
    const QStringList id{u"com.example.App"_s};
    QCOMPARE(registry->handlersForUri(QUrl(u"own:x"_s), {}), id);
    for (const char *uri : {"stolen:x", "late:x"})
        QCOMPARE(registry->handlersForUri(QUrl(QString::fromLatin1(uri)), {}), QStringList());
    // mimeapps.list may name any of an application's files.
    QCOMPARE(registry->handlersForUri(QUrl(u"other:x"_s), {}), id);
    const QStringList lines = log.taken();
    QCOMPARE(lines.size(), 2);
    for (const QString &line : lines)
        QVERIFY(line.contains(directory + u"com.example.App.desktop"_s));
    QVERIFY(lines.first().contains(directory + u"aaa.desktop"_s));
    QVERIFY(lines.last().contains(directory + u"zzz.desktop"_s));
}

void TestApplicationRegistry::prefersTheFileFromWhoseNameTheIdFollows()
{
    const QByteArray plain = "[Desktop Entry]\nType=Application\nName=owner\n";
    const QByteArray claiming = "[Desktop Entry]\nType=Application\nName=thief\n"
                                "[X-Application]\nOrganizationName=org.zarn\nApplicationName=foo\n";
    const QString directory = u"/usr/share/applications/"_s;
    root->write(directory + u"aaa.desktop"_s, claiming);
    root->write(directory + u"foo.desktop"_s, plain);
    root->write(directory + u"org.zarn.foo.desktop"_s, claiming);
    const LogLines log;
    load();
    QCOMPARE(registry->application(ApplicationId(u"org.zarn.foo"_s)).name(), u"owner"_s);
    QCOMPARE(log.taken().size(), 2);
}

void TestApplicationRegistry::keepsTheEarlierDirectoryWhateverItsFileIsCalled()
{
    root->write(u"/home/data/applications/aaa.desktop"_s, entryCalled("user", "u"));
    root->write(u"/usr/share/applications/com.example.App.desktop"_s, entryCalled("system", "s"));
    const LogLines log;
    load();
    QCOMPARE(registry->application(ApplicationId(u"com.example.App"_s)).name(), u"user"_s);
    QCOMPARE(log.taken(), QStringList());
}

void TestApplicationRegistry::keepsTheTasksOfOneTypeWithinTheBound()
{
    // Each is within the limits for one task and one application.
    QByteArray large;
    for (int i = 0; i < 20; ++i)
        large += "[X-Task t" + QByteArray::number(i)
            + "]\nType=Sync\nPermissions=" + QByteArray("abcd;").repeated(1000) + "\n";
    for (int i = 0; i < 40; ++i)
        root->writeApplication(u"A%1"_s.arg(i), large);
    root->writeApplication(u"Zoo"_s, "[X-Task sync]\nType=Sync\n");
    load();
    const LogLines log;
    const auto tasks = registry->tasksOfType(u"Sync"_s);
    int sum = 0;
    QStringList ids;
    for (const auto &info : tasks) {
        sum += Core::sizeOf(info);
        ids.append(info.taskId.toString());
    }
    QVERIFY(sum <= Core::largestTaskList);
    QVERIFY(sum > Core::largestTaskList - Core::largestTasksOfApplication);
    QVERIFY(ids.contains(u"com.example.Zoo.task_sync"_s));
    QCOMPARE(log.taken().size(), 1);
    // The list is cached, so the finding is reported only once.
    QCOMPARE(registry->tasksOfType(u"Sync"_s).size(), tasks.size());
    QCOMPARE(log.taken().size(), 1);
    QStringList sorted = ids;
    sorted.sort();
    QCOMPARE(ids, sorted);
}

void TestApplicationRegistry::needsLittleTimeForAnyEntry_data()
{
    QTest::addColumn<QByteArray>("main");
    QTest::addColumn<QByteArray>("groups");
    const auto fill = [](const QByteArray &piece) {
        return piece.repeated(1000000 / piece.size());
    };
    QTest::newRow("one wildcard again and again") << "MimeType=" + fill("*;") << QByteArray();
    QTest::newRow("many types") << [] {
        QByteArray text = "MimeType=";
        for (int i = 0; text.size() < 1000000; ++i)
            text += QByteArray::number(i, 36) + "*;";
        return text;
    }() << QByteArray();
    QTest::newRow("separators") << "MimeType=" + fill(";") << QByteArray();
    QTest::newRow("many keys") << fill("a=b\n") << QByteArray();
    QTest::newRow("many different keys") << [] {
        QByteArray text;
        for (int i = 0; text.size() < 1000000; ++i)
            text += "k" + QByteArray::number(i, 36) + "=\n";
        return text;
    }() << QByteArray();
    QTest::newRow("one group again and again") << QByteArray() << fill("[X-Task a]\n");
    QTest::newRow("many tasks") << QByteArray() << [] {
        QByteArray text;
        for (int i = 0; text.size() < 1000000; ++i)
            text += "[X-Task a" + QByteArray::number(i, 36) + "]\n";
        return text;
    }();
    QTest::newRow("many names") << [] {
        QByteArray text;
        for (int i = 0; text.size() < 1000000; ++i)
            text += "Name[" + QByteArray::number(i, 36) + "]=x\n";
        return text;
    }() << QByteArray();
    QTest::newRow("comments") << fill("#\n") << QByteArray();
    QTest::newRow("intents") << QByteArray() << "[X-Sailjail]\nIntents=" + fill("a:b|c;") + "\n";
    QTest::newRow("permissions") << QByteArray() << "[X-Task a]\nPermissions=" + fill("a;") + "\n";
    QTest::newRow("an open escape") << "Name[x]=" + fill("\\q") << QByteArray();
}

void TestApplicationRegistry::needsLittleTimeForAnyEntry()
{
    QFETCH(QByteArray, main);
    QFETCH(QByteArray, groups);
    QVERIFY(QFile::link(u"/usr/share/mime"_s, root->path(u"/usr/share/mime"_s)));
    root->write(u"/usr/share/applications/odd.desktop"_s,
                "[Desktop Entry]\nType=Application\nName=x\n" + main + "\n" + groups);
    root->writeApplication(u"Notes"_s, {});
    const LogLines log;
    // Processor time, so that other processes do not count: a few tenths of a second.
    const std::clock_t start = std::clock();
    load();
    const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    QVERIFY2(seconds < 5, qPrintable(QString::number(seconds)));
    QVERIFY(knows("com.example.Notes"));
    QVERIFY(knows("org.zarn.odd"));
    QVERIFY(log.taken().size() < 100);
}

void TestApplicationRegistry::computesTheCompatibilityLevel_data()
{
    QTest::addColumn<QByteArray>("manifest");
    QTest::addColumn<QByteArray>("version");
    QTest::addColumn<int>("level");
    const QByteArray keeps = R"({"keepMediaActiveInBackground": true})";
    QTest::newRow("no manifest") << QByteArray() << QByteArray() << 0;
    QTest::newRow("manifest") << QByteArray("{}") << QByteArray() << 2;
    QTest::newRow("manifest that keeps media") << keeps << QByteArray() << 1;
    QTest::newRow("override") << QByteArray() << QByteArray("4.3") << 1;
    QTest::newRow("override below") << QByteArray("{}") << QByteArray("4.1.9") << 0;
    QTest::newRow("shorter is lower") << QByteArray() << QByteArray("4.2") << 0;
    QTest::newRow("exactly") << QByteArray() << QByteArray("4.2.0") << 1;
    QTest::newRow("shorter again") << QByteArray() << QByteArray("5.2") << 1;
    QTest::newRow("newest") << QByteArray() << QByteArray("5.2.0") << 2;
    QTest::newRow("newest that keeps media") << keeps << QByteArray("6") << 1;
    QTest::newRow("no version") << QByteArray("{}") << QByteArray("soon") << 0;
}

void TestApplicationRegistry::computesTheCompatibilityLevel()
{
    QFETCH(QByteArray, manifest);
    QFETCH(QByteArray, version);
    QFETCH(int, level);
    root->writeApplication(u"Notes"_s, {});
    if (!manifest.isEmpty())
        root->write(u"/opt/app/com.example.Notes/current/manifest.json"_s, manifest);
    if (!version.isEmpty())
        root->write(u"/etc/orvane/os-version-support.cfg"_s,
                    "[Applications]\ncom.example.*=" + version + "\n");
    load();
    QCOMPARE(registry->compatibilityLevel(ApplicationId(u"com.example.Notes"_s)), level);
}

QTEST_GUILESS_MAIN(TestApplicationRegistry)
#include "tst_application_registry.moc"

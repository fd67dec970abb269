// The records that one run saves for the next, and damaged files in their place.

#include "common/Core/application_catalogue.h"
#include "common/Core/application_registry.h"
#include "common/Core/entry_records.h"
#include "common/Core/manifest.h"
#include "common/Core/saved_records.h"
#include "common/sealed_bytes.h"
#include "support/collected_findings.h"
#include "support/every_fault.h"
#include "support/literals.h"
#include "support/odd_file.h"
#include "support/root_places.h"
#include "unit/common/Core/log_lines.h"

#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QTest>

#include <functional>
#include <sys/stat.h>

using Core::ApplicationCatalogue;
using Core::ApplicationId;
using Core::ApplicationInfo;
using Core::EntryRecords;

using Change = std::function<void(const TempRoot &, Places &)>;
Q_DECLARE_METATYPE(Change)

class TestSavedRecords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void sparesTheNextRunFromReading();
    void savesTheWholeRecord();
    void loadsEqualTextsOfTasksOnce();
    void readsWhatHasChanged_data();
    void readsWhatHasChanged();
    void savesNothingThatWasJustChanged();
    void savesNoEntryWithFindings();
    void ignoresDamagedFiles();
    void ignoresOddFiles_data();
    void ignoresOddFiles();
    void survivesGarbageWithARightChecksum();
    void ignoresTheRecordsOfAnotherProgram();
    void savesNoMoreThanItReads();
    void isReadableByItsOwnerOnly();
    void doesNothingWithoutAFile();
    void logsThatItCannotSave();
    void keepsTheOldOrTheNewRecordsOnABadDisk_data() { addFileErrors(); }
    void keepsTheOldOrTheNewRecordsOnABadDisk();
    void isSavedWhenNothingChangesForAWhile();

private:
    /// How many entries a run reads that starts with the saved records.
    int readByRun(ApplicationCatalogue *catalogue = nullptr)
    {
        EntryRecords records;
        records.restore(places);
        const ApplicationCatalogue found(places, findings, records);
        if (catalogue != nullptr)
            *catalogue = found;
        return records.readCount();
    }
    /// A run that saves its records.
    void keep()
    {
        EntryRecords records;
        (void)ApplicationCatalogue(places, findings, records);
        records.save(places);
    }
    /// Repeats runs until no file has been changed too recently to be saved.
    void settle()
    {
        const auto isSettled = [this] {
            keep();
            return readByRun() == 0;
        };
        QTRY_VERIFY_WITH_TIMEOUT(isSettled(), 30000);
    }
    [[nodiscard]] QByteArray kept() const
    {
        QFile file(places.recordsFile);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    void put(const QByteArray &bytes) const
    {
        // Not truncated first, because some file systems then wait for the disk each time.
        QFile file(places.recordsFile);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QCOMPARE(file.write(bytes), bytes.size());
        QVERIFY(file.resize(bytes.size()));
    }

    std::unique_ptr<TempRoot> root;
    Places places;
    CollectedFindings findings;
};

namespace {

const char *const everything =
    "[Desktop Entry]\nType=Application\nName=N\xc3\xb6tes\nIcon=icon\nExec=/bin/a %U\n"
    "MimeType=text/plain;x-scheme-handler/a;\nX-Halcyn-Support-Mime-Parents=true\n"
    "X-Maemo-Service=a.b\nX-Maemo-Method=a.b.c\nX-Maemo-Fixed-Args=d\nX-Nemo-Single-Instance=no\n"
    "X-Halcyn-Single-Cover=yes\nMode=Odd\n[X-Application]\nOrganizationName=com.example\n"
    "ApplicationName=Notes\nIntents=Share/image:a|b;Print\nExecDBus=/bin/d\nDataDirectory=dir\n"
    "Sandboxing=Disabled\n[X-Task sync]\nType=Sync\nPermissions=A;B\nConditions=C\n"
    "[X-Service serve]\nType=Serve\nExec=/bin/s\n";

// The whole content of a record, for comparison.
QStringList described(const ApplicationInfo &info)
{
    QStringList all{info.desktopFilePath(),
                    info.applicationId().toString(),
                    info.applicationId().organisation().toString(),
                    info.name(),
                    info.icon(),
                    info.certificateId(),
                    QString::number(info.isValid()),
                    QString::number(info.supportsMimeParents()),
                    QString::number(info.manifest().isValid()),
                    QString::number(info.manifest().keepMediaActiveInBackground())};
    all += info.mimeTypes();
    for (auto intent = info.intents().begin(); intent != info.intents().end(); ++intent)
        all += QStringList{intent.key(), intent->qualifier} + intent->items;
    for (auto task = info.tasks().begin(); task != info.tasks().end(); ++task)
        all += QStringList{task.key(),
                           task->taskId.toString(),
                           task->taskId.taskName().toString(),
                           task->type,
                           task->exec,
                           task->file,
                           task->group}
            + task->permissions + task->conditions;
    const ApplicationInfo::LaunchInfo &launch = info.launchInfo();
    all += {launch.exec,
            launch.execDBus,
            launch.service,
            launch.objectPath,
            launch.method,
            launch.fixedArgs,
            launch.dataDirectory,
            QString::number(launch.sandboxed),
            QString::number(launch.singleInstance),
            QString::number(launch.singleCover),
            QString::number(launch.customMode)};
    return all;
}

} // namespace

void TestSavedRecords::init()
{
    root = std::make_unique<TempRoot>();
    places = placesOf(*root);
    places.recordsFile = root->path(u"/records"_s);
    findings.all.clear();
    root->write(u"/usr/share/applications/notes.desktop"_s, everything);
    root->writeApplication(u"Other"_s, "[X-Task a]\nType=Sync\n");
    root->write(u"/opt/app/com.example.Notes/current/manifest.json"_s,
                R"({"keepMediaActiveInBackground": true})");
    root->write(u"/opt/app/com.example.Notes/current/halcyn.pkg"_s,
                "[certificate]\nid=certified\n");
}

void TestSavedRecords::sparesTheNextRunFromReading()
{
    QCOMPARE(readByRun(), 2);
    settle();
    QCOMPARE(readByRun(), 0);
}

void TestSavedRecords::savesTheWholeRecord()
{
    settle();
    ApplicationCatalogue fromFile;
    QCOMPARE(readByRun(&fromFile), 0);
    const ApplicationCatalogue read(places, findings);
    QCOMPARE(fromFile.applications().keys(), read.applications().keys());
    for (const ApplicationInfo &info : read.applications())
        QCOMPARE(described(fromFile.application(info.applicationId())), described(info));
    const auto notes = fromFile.application(ApplicationId(u"com.example.Notes"_s));
    QCOMPARE(notes.certificateId(), u"certified"_s);
    QCOMPARE(notes.tasks().size(), 2);
}

void TestSavedRecords::loadsEqualTextsOfTasksOnce()
{
    const auto typeOf = [](const ApplicationCatalogue &catalogue, const QString &task) {
        return catalogue.task(Core::ApplicationTaskId(task)).type;
    };
    settle();
    ApplicationCatalogue fromFile;
    QCOMPARE(readByRun(&fromFile), 0);
    const QString one = typeOf(fromFile, u"com.example.Notes.task_sync"_s);
    QCOMPARE(one, u"Sync"_s);
    QVERIFY(one.isSharedWith(typeOf(fromFile, u"com.example.Other.task_a"_s)));
}

void TestSavedRecords::readsWhatHasChanged_data()
{
    QTest::addColumn<Change>("change");
    QTest::addColumn<int>("read");
    const QString package = u"/opt/app/com.example.Notes/current/"_s;
    QTest::newRow("an entry is written")
        << Change([](const TempRoot &r, Places &) { r.writeApplication(u"Other"_s, {}); }) << 1;
    QTest::newRow("a manifest is gone")
        << Change([=](const TempRoot &r, Places &) { r.remove(package + u"manifest.json"_s); })
        << 1;
    QTest::newRow("a certificate is written") << Change([=](const TempRoot &r, Places &) {
        r.write(package + u"halcyn.pkg"_s, "[certificate]\nid=b\n");
    }) << 1;
    QTest::newRow("a package is new") << Change([](const TempRoot &r, Places &) {
        r.write(u"/opt/app/com.example.Other/current/manifest.json"_s, "{}");
    }) << 1;
    QTest::newRow("the language is another")
        << Change([](const TempRoot &, Places &p) { p.languages = u"fi"_s; }) << 2;
    QTest::newRow("nothing is kept")
        << Change([](const TempRoot &r, Places &) { r.remove(u"/records"_s); }) << 2;
}

void TestSavedRecords::readsWhatHasChanged()
{
    QFETCH(Change, change);
    QFETCH(int, read);
    settle();
    change(*root, places);
    ApplicationCatalogue found;
    QCOMPARE(readByRun(&found), read);
    const ApplicationCatalogue anew(places, findings);
    for (const ApplicationInfo &info : anew.applications())
        QCOMPARE(described(found.application(info.applicationId())), described(info));
}

void TestSavedRecords::savesNothingThatWasJustChanged()
{
    settle();
    root->writeApplication(u"Other"_s, "[X-Task a]\nType=One\n");
    keep();
    // Of the same size, and written so soon that the times may be the same.
    root->writeApplication(u"Other"_s, "[X-Task a]\nType=Two\n");
    ApplicationCatalogue found;
    QCOMPARE(readByRun(&found), 1);
    QCOMPARE(found.task(Core::ApplicationTaskId(u"com.example.Other.task_a"_s)).type, u"Two"_s);
}

void TestSavedRecords::savesNoEntryWithFindings()
{
    settle();
    root->write(u"/usr/share/applications/bad.desktop"_s, "text");
    keep();
    findings.all.clear();
    QCOMPARE(readByRun(), 1);
    QCOMPARE(findings.rules(), QStringList{u"entry-invalid"_s});
}

void TestSavedRecords::ignoresDamagedFiles()
{
    settle();
    const QByteArray whole = kept();
    QCOMPARE(Core::loadRecords(places).size(), 2);
    for (int size = 0; size < whole.size(); ++size) {
        put(whole.left(size));
        QVERIFY2(Core::loadRecords(places).isEmpty(), qPrintable(QString::number(size)));
    }
    QRandomGenerator random(1);
    for (int i = 0; i < 1000; ++i) {
        QByteArray changed = whole;
        for (int flips = random.bounded(1, 5); flips > 0; --flips)
            changed[random.bounded(changed.size())] = static_cast<char>(random.bounded(256));
        put(changed);
        QVERIFY(changed == whole || Core::loadRecords(places).isEmpty());
    }
    put(QByteArray(100000, 'x'));
    QVERIFY(Core::loadRecords(places).isEmpty());
    QCOMPARE(readByRun(), 2);
}

void TestSavedRecords::ignoresOddFiles_data()
{
    QTest::addColumn<QString>("kind");
    const QStringList kinds = OddFile::kinds();
    for (const QString &kind : kinds)
        QTest::newRow(qPrintable(kind)) << kind;
}

void TestSavedRecords::ignoresOddFiles()
{
    QFETCH(QString, kind);
    settle();
    const QByteArray whole = kept();
    QVERIFY(QFile::remove(places.recordsFile));
    QVERIFY(OddFile::make(kind, places.recordsFile, whole));
    QCOMPARE(readByRun(), 2);
}

void TestSavedRecords::survivesGarbageWithARightChecksum()
{
    settle();
    const QByteArray content = unsealed(kept()).value();
    for (int size = 0; size < content.size(); size += 7) {
        put(sealed(content.left(size)));
        (void)Core::loadRecords(places);
    }
    QRandomGenerator random(2);
    for (int i = 0; i < 1000; ++i) {
        QByteArray changed = content;
        for (int flips = random.bounded(1, 5); flips > 0; --flips)
            changed[random.bounded(changed.size())] = static_cast<char>(random.bounded(256));
        put(sealed(changed));
        const auto records = Core::loadRecords(places);
        for (const Core::SavedRecord &record : records)
            (void)described(record.info);
    }
}

void TestSavedRecords::ignoresTheRecordsOfAnotherProgram()
{
    settle();
    QByteArray content = unsealed(kept()).value();
    // The state of the program file follows the name of the format.
    const int program = 8 + 2 * static_cast<int>(qstrlen("orvane application records 1"));
    for (int position = 0; position < program + 5 * 8; position += 4) {
        QByteArray other = content;
        other[position] = static_cast<char>(other.at(position) ^ 1);
        put(sealed(other));
        QVERIFY2(Core::loadRecords(places).isEmpty(), qPrintable(QString::number(position)));
    }
}

void TestSavedRecords::savesNoMoreThanItReads()
{
    for (int i = 0; i < 12; ++i)
        root->write(u"/usr/share/applications/large%1.desktop"_s.arg(i),
                    "[Desktop Entry]\nType=Application\nName=" + QByteArray(900000, 'x') + "\n");
    const auto isSettled = [this] {
        keep();
        return Core::loadRecords(places).size() >= 8;
    };
    QTRY_VERIFY_WITH_TIMEOUT(isSettled(), 30000);
    QVERIFY(QFileInfo(places.recordsFile).size() <= 16 << 20);
    ApplicationCatalogue found;
    QVERIFY(readByRun(&found) < 8);
    QCOMPARE(found.applications().size(), 14);
}

void TestSavedRecords::isReadableByItsOwnerOnly()
{
    keep();
    struct stat status = {};
    QCOMPARE(::stat(qPrintable(places.recordsFile), &status), 0);
    QCOMPARE(status.st_mode & 07777, 0600U);
}

void TestSavedRecords::doesNothingWithoutAFile()
{
    places.recordsFile.clear();
    const LogLines log;
    keep();
    QCOMPARE(readByRun(), 2);
    QCOMPARE(log.taken(), QStringList());
}

void TestSavedRecords::logsThatItCannotSave()
{
    places.recordsFile = root->path(u"/none/records"_s);
    const LogLines log;
    keep();
    QCOMPARE(log.taken().size(), 1);
    QCOMPARE(readByRun(), 2);
}

void TestSavedRecords::keepsTheOldOrTheNewRecordsOnABadDisk()
{
    QFETCH(int, error);

    Core::saveRecords(places, {});
    const QByteArray empty = kept();
    settle();
    const QVector<Core::SavedRecord> records = Core::loadRecords(places);
    const QByteArray full = kept();
    QVERIFY(full != empty);
    withEveryCallFailing([&](int which) {
        put(empty);
        const LogLines log;
        QString failed;
        {
            const FileFaults faults(which, error);
            Core::saveRecords(places, records);
            failed = faults.failed();
        }
        const QByteArray now = kept();
        const auto check = [&] { QVERIFY2(now == empty || now == full, qPrintable(failed)); };
        check();
        return !failed.isEmpty();
    });
}

void TestSavedRecords::isSavedWhenNothingChangesForAWhile()
{
    settle();
    root->remove(u"/records"_s);
    const Core::ApplicationRegistry registry(places, findings);
    QVERIFY(!root->exists(u"/records"_s));
    QTRY_COMPARE_WITH_TIMEOUT(Core::loadRecords(places).size(), 2, 30000);
}

QTEST_GUILESS_MAIN(TestSavedRecords)
#include "tst_saved_records.moc"

// Counts which entries are read again.

#include "common/Core/application_catalogue.h"
#include "common/Core/entry_records.h"
#include "common/Core/manifest.h"
#include "support/collected_findings.h"
#include "support/literals.h"
#include "support/root_places.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <cstdio>
#include <functional>
#include <sys/stat.h>
#include <unistd.h>

using Core::ApplicationCatalogue;
using Core::ApplicationId;
using Core::EntryRecords;

namespace {

const char *const folder = "/usr/share/applications/";
const char *const package = "/opt/app/com.example.App3/current/";

using Change = std::function<void(const TempRoot &)>;

} // namespace

Q_DECLARE_METATYPE(Change)

class TestEntryRecords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void readsEachEntryOnce();
    void readsAgainWhatHasChanged_data();
    void readsAgainWhatHasChanged();
    void readsAgainWhatWasChangedJustBefore();
    void readsAgainWhatWasChangedBeforeItWasWatched_data();
    void readsAgainWhatWasChangedBeforeItWasWatched();
    void readsAgainEntriesWithFindings_data();
    void readsAgainEntriesWithFindings();
    void readsEntriesOnceThatTheDaemonDoesNotLog_data();
    void readsEntriesOnceThatTheDaemonDoesNotLog();
    void forgetsWhatIsGone();
    void holdsEqualTextsOfTasksOnce();

private:
    [[nodiscard]] QString current() const
    {
        return root->path(u"/opt/app/com.example.App4/current"_s);
    }
    ApplicationCatalogue look() { return {placesOf(*root), findings, records()}; }
    EntryRecords &records() { return *kept; }
    /// How many entries a scan reads.
    int readByLook()
    {
        const int before = records().readCount();
        (void)look();
        return records().readCount() - before;
    }
    /// Scans until no file has been changed too recently to be cached.
    void settle() { QTRY_COMPARE_WITH_TIMEOUT(readByLook(), 0, 30000); }

    std::unique_ptr<TempRoot> root;
    std::unique_ptr<EntryRecords> kept;
    CollectedFindings findings;
};

void TestEntryRecords::init()
{
    root = std::make_unique<TempRoot>();
    kept = std::make_unique<EntryRecords>();
    findings.all.clear();
    for (int i = 0; i < 10; ++i)
        root->writeApplication(u"App%1"_s.arg(i), "[X-Task sync]\nType=Sync\n");
    root->write(u"/opt/app/com.example.App4/1/manifest.json"_s, "{}");
    root->write(u"/opt/app/com.example.App4/2/manifest.json"_s, "{}");
    QVERIFY(QFile::link(root->path(u"/opt/app/com.example.App4/1"_s), current()));
}

void TestEntryRecords::readsEachEntryOnce()
{
    QCOMPARE(readByLook(), 10);
    settle();
    const ApplicationCatalogue first = look();
    const ApplicationCatalogue second = look();
    QCOMPARE(second.applications().keys(), first.applications().keys());
    QCOMPARE(second.fileToApplication(), first.fileToApplication());
    const ApplicationId id(u"com.example.App3"_s);
    // The same record, not a new one.
    QCOMPARE(&second.application(id).tasks(), &first.application(id).tasks());
}

void TestEntryRecords::readsAgainWhatHasChanged_data()
{
    QTest::addColumn<Change>("change");
    const auto entry = [](const char *name) {
        return QString::fromLatin1(folder) + QString::fromLatin1(name);
    };
    const auto file = [](const char *name) {
        return QString::fromLatin1(package) + QString::fromLatin1(name);
    };
    const QString app3 = entry("App3.desktop");
    QTest::newRow("the entry is written")
        << Change([](const TempRoot &r) { r.writeApplication(u"App3"_s, {}); });
    QTest::newRow("the entry has other rights")
        << Change([=](const TempRoot &r) { QCOMPARE(::chmod(qPrintable(r.path(app3)), 0600), 0); });
    QTest::newRow("the entry is replaced") << Change([=](const TempRoot &r) {
        const QString beside = r.path(u"/beside"_s);
        QVERIFY(QFile::copy(r.path(app3), beside));
        QCOMPARE(std::rename(qPrintable(beside), qPrintable(r.path(app3))), 0);
    });
    QTest::newRow("the entry becomes a link") << Change([=](const TempRoot &r) {
        QVERIFY(QFile::copy(r.path(app3), r.path(u"/target"_s)));
        r.remove(app3);
        QVERIFY(QFile::link(r.path(u"/target"_s), r.path(app3)));
    });
    QTest::newRow("an entry is new")
        << Change([](const TempRoot &r) { r.writeApplication(u"New"_s, {}); });
    QTest::newRow("a manifest is new")
        << Change([=](const TempRoot &r) { r.write(file("manifest.json"), "{}"); });
    QTest::newRow("a package leads elsewhere") << Change([](const TempRoot &r) {
        const QString version = r.path(u"/opt/app/com.example.App4/"_s);
        QVERIFY(QFile::remove(version + u"current"_s));
        QVERIFY(QFile::link(version + QLatin1Char('2'), version + u"current"_s));
    });
    QTest::newRow("a certificate is new")
        << Change([=](const TempRoot &r) { r.write(file("halcyn.pkg"), "[certificate]\nid=a\n"); });
}

void TestEntryRecords::readsAgainWhatHasChanged()
{
    QFETCH(Change, change);
    settle();
    change(*root);
    QCOMPARE(readByLook(), 1);
}

void TestEntryRecords::readsAgainWhatWasChangedJustBefore()
{
    settle();
    root->writeApplication(u"App3"_s, "[X-Task sync]\nType=First\n");
    (void)look();
    // Of the same size, and written so soon that the times may be the same.
    root->writeApplication(u"App3"_s, "[X-Task sync]\nType=Other\n");
    const auto task = look().task(Core::ApplicationTaskId(u"com.example.App3.task_sync"_s));
    QCOMPARE(task.type, u"Other"_s);
}

void TestEntryRecords::readsAgainWhatWasChangedBeforeItWasWatched_data()
{
    QTest::addColumn<bool>("isLink");
    QTest::newRow("the target of a link") << true;
    QTest::newRow("a file with a second name") << false;
}

void TestEntryRecords::readsAgainWhatWasChangedBeforeItWasWatched()
{
    QFETCH(bool, isLink);
    const QString entry = QString::fromLatin1(folder) + u"App3.desktop"_s;
    const QString target = u"/target"_s;
    QCOMPARE(std::rename(qPrintable(root->path(entry)), qPrintable(root->path(target))), 0);
    const QByteArray name = QFile::encodeName(root->path(entry));
    const QByteArray file = QFile::encodeName(root->path(target));
    QCOMPARE(isLink ? ::symlink(file.constData(), name.constData())
                    : ::link(file.constData(), name.constData()),
             0);
    settle();
    // The folder has been listed by then. No other scan follows, because nothing is watched here.
    const auto change = [&](const QString &path, const ListedFile *) {
        if (path.endsWith(u"App3.desktop"_s))
            root->write(target, root->read(target) + "[X-Task late]\nType=Sync\n");
    };
    const ApplicationCatalogue catalogue(placesOf(*root), findings, records(), change);
    const ApplicationId id(u"com.example.App3"_s);
    QCOMPARE(catalogue.application(id).tasks().keys(), (QStringList{u"late"_s, u"sync"_s}));
}

void TestEntryRecords::readsAgainEntriesWithFindings_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("a bad task name")
        << QString::fromLatin1(folder) + u"bad.desktop"_s
        << QByteArray("[Desktop Entry]\nType=Application\nName=x\n[X-Task 1]\n");
    QTest::newRow("a manifest that is none")
        << QString::fromLatin1(package) + u"manifest.json"_s << QByteArray("{");
}

void TestEntryRecords::readsAgainEntriesWithFindings()
{
    QFETCH(QString, path);
    QFETCH(QByteArray, text);
    root->write(path, text);
    QTRY_COMPARE_WITH_TIMEOUT(readByLook(), 1, 30000);
    findings.all.clear();
    (void)look();
    const QStringList once = findings.rules();
    QVERIFY(!once.isEmpty());
    (void)look();
    // Each scan reports the same findings.
    QCOMPARE(findings.rules(), once + once);
}

void TestEntryRecords::readsEntriesOnceThatTheDaemonDoesNotLog_data()
{
    QTest::addColumn<QByteArray>("text");
    const QByteArray entry = "[Desktop Entry]\nType=Application\nName=x\n";
    QTest::newRow("an entry that is none") << QByteArray("text");
    QTest::newRow("a hidden entry") << entry + "Hidden=true\n";
    QTest::newRow("a task that is declared twice") << entry
            + "[X-Application]\nOrganizationName=a.b\nApplicationName=c\n"
              "[X-Service sync]\nType=Sync\n[X-Task sync]\nType=Sync\n";
}

void TestEntryRecords::readsEntriesOnceThatTheDaemonDoesNotLog()
{
    QFETCH(QByteArray, text);
    root->write(QString::fromLatin1(folder) + u"odd.desktop"_s, text);
    (void)look();
    QVERIFY(!findings.all.isEmpty());
    settle();
}

void TestEntryRecords::forgetsWhatIsGone()
{
    settle();
    const QString path = QString::fromLatin1(folder) + u"App3.desktop"_s;
    const QString away = root->path(u"/away"_s);
    QCOMPARE(std::rename(qPrintable(root->path(path)), qPrintable(away)), 0);
    QCOMPARE(look().applications().size(), 9);
    QCOMPARE(std::rename(qPrintable(away), qPrintable(root->path(path))), 0);
    QCOMPARE(readByLook(), 1);
}

void TestEntryRecords::holdsEqualTextsOfTasksOnce()
{
    const char *const task =
        "[X-Task sync]\nType=Sync\nPermissions=Internet;Audio\nConditions=Charging\n";
    root->writeApplication(u"App1"_s, task);
    root->writeApplication(u"App2"_s, task);
    const ApplicationCatalogue catalogue = look();
    const auto taskOf = [&](const QString &application) {
        return catalogue.task(Core::ApplicationTaskId(application + u".task_sync"_s));
    };
    const auto one = taskOf(u"com.example.App1"_s);
    const auto other = taskOf(u"com.example.App2"_s);
    QCOMPARE(one.type, u"Sync"_s);
    QVERIFY(one.type.isSharedWith(other.type));
    QVERIFY(one.group.isSharedWith(other.group));
    QCOMPARE(one.permissions, QStringList({u"Internet"_s, u"Audio"_s}));
    QVERIFY(one.permissions.isSharedWith(other.permissions));
    QVERIFY(one.conditions.isSharedWith(other.conditions));
    // This one declares neither.
    QCOMPARE(taskOf(u"com.example.App3"_s).permissions, QStringList());
}

QTEST_GUILESS_MAIN(TestEntryRecords)
#include "tst_entry_records.moc"

#include "common/atomic_file.h"
#include "common/places.h"
#include "plan/policy_text.h"
#include "support/literals.h"
#include "support/odd_file.h"
#include "support/root_places.h"
#include "system/Core/leftover_files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QtTest>

using Core::LeftoverFiles;

namespace {

const QString task = u"com.example.Notes.task_sync"_s;
const QString unit = u"ov_task.com.example.Notes.task_sync.service"_s;

QByteArray ownText() { return Core::policyText(u"com.example.Notes.Sync"_s, u"appuser"_s); }

QString settings(const QString &below) { return u"/var/lib/am/apps/"_s + below; }

} // namespace

class TestLeftoverFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void removesAPolicyWithoutAUnit_data();
    void removesAPolicyWithoutAUnit();
    void keepsAPolicyThatATaskAccountsFor_data();
    void keepsAPolicyThatATaskAccountsFor();
    void keepsPoliciesOfOthers_data();
    void keepsPoliciesOfOthers();
    void keepsWhatIsNoPolicyFile();
    void keepsAnOddFileInPlaceOfAPolicy_data();
    void keepsAnOddFileInPlaceOfAPolicy();
    void keepsAPolicyThatIsBeingWritten();
    void removesUnfinishedFilesWhereverTheDaemonWrites_data();
    void removesUnfinishedFilesWhereverTheDaemonWrites();
    void keepsAFileThatIsBeingWritten();
    void removesEmptyFoldersOfSettings();
    void hasNothingToDoWithoutFolders();

private:
    [[nodiscard]] QString policy() const { return m_root->policyFile(task); }
    [[nodiscard]] bool removesPolicies(const QSet<QString> &live = {}) const
    {
        return LeftoverFiles(places()).removePolicies(live);
    }
    [[nodiscard]] Places places() const
    {
        Places places = placesOf(*m_root);
        places.recordsFile = m_root->path(u"/run/orvane/applications.records"_s);
        return places;
    }

    std::unique_ptr<TempRoot> m_root;
};

void TestLeftoverFiles::init() { m_root = std::make_unique<TempRoot>(); }

void TestLeftoverFiles::cleanup() { m_root.reset(); }

void TestLeftoverFiles::removesAPolicyWithoutAUnit_data()
{
    QTest::addColumn<QString>("busName");
    QTest::addColumn<QString>("user");
    QTest::newRow("plain") << u"a.b.C"_s << u"appuser"_s;
    QTest::newRow("escaped") << u"a<b&\"c"_s << u"o'user>"_s;
    QTest::newRow("a placeholder") << u"a.%2.b"_s << u"%1"_s;
}

void TestLeftoverFiles::removesAPolicyWithoutAUnit()
{
    QFETCH(QString, busName);
    QFETCH(QString, user);
    m_root->write(policy(), Core::policyText(busName, user));
    QTest::ignoreMessage(
        QtInfoMsg,
        u"Removed a bus policy without a unit: \"%1\""_s.arg(m_root->path(policy()))
            .toUtf8()
            .constData());
    QVERIFY(removesPolicies());
    QVERIFY(!m_root->exists(policy()));
    QVERIFY(!removesPolicies());
}

void TestLeftoverFiles::keepsAPolicyThatATaskAccountsFor_data()
{
    QTest::addColumn<QString>("unitFile");
    QTest::addColumn<QSet<QString>>("live");
    QTest::newRow("its unit is there") << u"a file"_s << QSet<QString>();
    QTest::newRow("its unit is masked") << u"a link"_s << QSet<QString>();
    QTest::newRow("its unit runs") << QString() << QSet<QString>{unit};
}

void TestLeftoverFiles::keepsAPolicyThatATaskAccountsFor()
{
    QFETCH(QString, unitFile);
    QFETCH(QSet<QString>, live);
    m_root->write(policy(), ownText());
    if (unitFile == QLatin1String("a file"))
        m_root->write(m_root->unitFile(task), "x");
    if (unitFile == QLatin1String("a link"))
        QVERIFY(QFile::link(u"/nowhere"_s, m_root->path(m_root->unitFile(task))));
    QVERIFY(!removesPolicies(live));
    QVERIFY(m_root->exists(policy()));
}

void TestLeftoverFiles::keepsPoliciesOfOthers_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("a name that is no task") << u"com.example.Notes"_s << ownText();
    QTest::newRow("another suffix") << task + u".conf.dpkg-new"_s << ownText();
    QTest::newRow("nothing in it") << task << QByteArray();
    QTest::newRow("a line more") << task << ownText() + "<!-- mine -->\n";
    QTest::newRow("another rule") << task << ownText().replace("allow send", "deny send");
    QTest::newRow("another name below")
        << task
        << ownText().replace("destination=\"com.example.Notes.Sync",
                             "destination=\"com.example.Notes.Other");
    QTest::newRow("no text") << task << QByteArray("\xff\xfe");
}

void TestLeftoverFiles::keepsPoliciesOfOthers()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, text);
    const QString file = m_root->policyFile(name);
    m_root->write(file, text);
    QVERIFY(!removesPolicies());
    QCOMPARE(m_root->read(file), text);
}

void TestLeftoverFiles::keepsWhatIsNoPolicyFile()
{
    const QString linked = u"/elsewhere/policy"_s;
    m_root->write(linked, ownText());
    m_root->write(m_root->policyFile(u"a.b.task_c"_s) + u"/x"_s, "x");
    QVERIFY(QFile::link(m_root->path(linked), m_root->path(policy())));
    QVERIFY(!removesPolicies());
    QVERIFY(QFileInfo(m_root->path(policy())).isSymLink());
}

void TestLeftoverFiles::keepsAnOddFileInPlaceOfAPolicy_data()
{
    QTest::addColumn<QString>("kind");
    const QStringList kinds = OddFile::kinds();
    for (const QString &kind : kinds)
        QTest::newRow(qPrintable(kind)) << kind;
}

void TestLeftoverFiles::keepsAnOddFileInPlaceOfAPolicy()
{
    QFETCH(QString, kind);
    const QFileInfo place(m_root->path(policy()));
    QVERIFY(QDir().mkpath(place.path()));
    QVERIFY(OddFile::make(kind, place.filePath(), ownText()));
    QVERIFY(!removesPolicies());
    QVERIFY(place.dir().entryList(QDir::AllEntries | QDir::System).contains(place.fileName()));
}

void TestLeftoverFiles::keepsAPolicyThatIsBeingWritten()
{
    m_root->write(policy(), "x");
    PreparedFile text(m_root->path(policy()), ownText());
    QCOMPARE(text.commit(), FileWrite::Written);
    // Its unit may be written next.
    QVERIFY(!removesPolicies());
    QVERIFY(m_root->exists(policy()));
}

void TestLeftoverFiles::removesUnfinishedFilesWhereverTheDaemonWrites_data()
{
    QTest::addColumn<QString>("folder");
    QTest::newRow("units") << u"/etc/systemd/system/"_s;
    QTest::newRow("policies") << u"/etc/dbus-1/system.d/"_s;
    QTest::newRow("autostart settings") << settings(u"com.example.Notes/"_s);
    QTest::newRow("mimeapps.list") << u"/home/config/"_s;
    QTest::newRow("saved registrations") << u"/run/orvane/"_s;
}

void TestLeftoverFiles::removesUnfinishedFilesWhereverTheDaemonWrites()
{
    QFETCH(QString, folder);
    const QString leftover = folder + u".orvane.aB3xYz"_s;
    const QString foreign = folder + u".orvane.longer.name"_s;
    m_root->write(leftover, "[Unit]\nDescr");
    m_root->write(foreign, "x");
    QTest::ignoreMessage(
        QtInfoMsg,
        u"Removed an unfinished file: \"%1\""_s.arg(m_root->path(leftover)).toUtf8().constData());
    LeftoverFiles(places()).removeUnfinished();
    QVERIFY(!m_root->exists(leftover));
    QVERIFY(m_root->exists(foreign));
}

void TestLeftoverFiles::keepsAFileThatIsBeingWritten()
{
    const QString folder = u"/etc/systemd/system"_s;
    const QDir directory(m_root->path(folder));
    PreparedFile text(m_root->path(folder + u"/x.service"_s), "text");
    LeftoverFiles(places()).removeUnfinished();
    QCOMPARE(directory.entryList(QDir::Files | QDir::Hidden).size(), 1);
    QCOMPARE(text.commit(), FileWrite::Written);
    QCOMPARE(directory.entryList(QDir::Files | QDir::Hidden), QStringList(u"x.service"_s));
}

void TestLeftoverFiles::removesEmptyFoldersOfSettings()
{
    const QStringList names{u"com.example.Empty"_s, u"no id"_s};
    for (const QString &name : names)
        QVERIFY(QDir().mkpath(m_root->path(settings(name))));
    m_root->write(settings(u"com.example.Notes/5.conf"_s), "x");
    m_root->write(settings(u"com.example.File"_s), "x");
    QVERIFY(QFile::link(m_root->path(settings(names.at(1))),
                        m_root->path(settings(u"com.example.Link"_s))));
    QTest::ignoreMessage(
        QtInfoMsg,
        u"Removed an empty folder: \"%1\""_s.arg(m_root->path(settings(names.at(0))))
            .toUtf8()
            .constData());
    LeftoverFiles(places()).removeEmptyFolders();
    QCOMPARE(
        QDir(m_root->path(settings(QString()))).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
        QStringList(
            {u"com.example.File"_s, u"com.example.Link"_s, u"com.example.Notes"_s, u"no id"_s}));
}

void TestLeftoverFiles::hasNothingToDoWithoutFolders()
{
    const Places nowhere = Places::below(m_root->path(u"/nowhere"_s));
    const LeftoverFiles leftovers(nowhere);
    leftovers.removeUnfinished();
    leftovers.removeEmptyFolders();
    QVERIFY(!leftovers.removePolicies({}));
    QVERIFY(!m_root->exists(u"/nowhere"_s));
}

QTEST_GUILESS_MAIN(TestLeftoverFiles)
#include "tst_leftover_files.moc"

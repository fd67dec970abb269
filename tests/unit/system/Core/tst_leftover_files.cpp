#include "common/atomic_file.h"
#include "common/places.h"
#include "plan/policy_text.h"
#include "support/root_places.h"
#include "system/Core/leftover_files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QtTest>

using Core::LeftoverFiles;

namespace {

const QString task = QStringLiteral("com.example.Notes.task_sync");
const QString unit = QStringLiteral("ov_task.com.example.Notes.task_sync.service");

QByteArray ownText()
{
    return Core::policyText(QStringLiteral("com.example.Notes.Sync"), QStringLiteral("appuser"));
}

QString settings(const QString &below) { return QStringLiteral("/var/lib/am/apps/") + below; }

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
        places.recordsFile = m_root->path(QStringLiteral("/run/orvane/applications.records"));
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
    QTest::newRow("plain") << QStringLiteral("a.b.C") << QStringLiteral("appuser");
    QTest::newRow("escaped") << QStringLiteral("a<b&\"c") << QStringLiteral("o'user>");
    QTest::newRow("a placeholder") << QStringLiteral("a.%2.b") << QStringLiteral("%1");
}

void TestLeftoverFiles::removesAPolicyWithoutAUnit()
{
    QFETCH(QString, busName);
    QFETCH(QString, user);
    m_root->write(policy(), Core::policyText(busName, user));
    QTest::ignoreMessage(QtInfoMsg,
                         QStringLiteral("Removed a bus policy without a unit: \"%1\"")
                             .arg(m_root->path(policy()))
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
    QTest::newRow("its unit is there") << QStringLiteral("a file") << QSet<QString>();
    QTest::newRow("its unit is masked") << QStringLiteral("a link") << QSet<QString>();
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
        QVERIFY(QFile::link(QStringLiteral("/nowhere"), m_root->path(m_root->unitFile(task))));
    QVERIFY(!removesPolicies(live));
    QVERIFY(m_root->exists(policy()));
}

void TestLeftoverFiles::keepsPoliciesOfOthers_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("a name that is no task") << QStringLiteral("com.example.Notes") << ownText();
    QTest::newRow("another suffix") << task + QStringLiteral(".conf.dpkg-new") << ownText();
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
    const QString linked = QStringLiteral("/elsewhere/policy");
    m_root->write(linked, ownText());
    m_root->write(m_root->policyFile(QStringLiteral("a.b.task_c")) + QStringLiteral("/x"), "x");
    QVERIFY(QFile::link(m_root->path(linked), m_root->path(policy())));
    QVERIFY(!removesPolicies());
    QVERIFY(QFileInfo(m_root->path(policy())).isSymLink());
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
    QTest::newRow("units") << QStringLiteral("/etc/systemd/system/");
    QTest::newRow("policies") << QStringLiteral("/etc/dbus-1/system.d/");
    QTest::newRow("autostart settings") << settings(QStringLiteral("com.example.Notes/"));
    QTest::newRow("mimeapps.list") << QStringLiteral("/home/config/");
    QTest::newRow("saved registrations") << QStringLiteral("/run/orvane/");
}

void TestLeftoverFiles::removesUnfinishedFilesWhereverTheDaemonWrites()
{
    QFETCH(QString, folder);
    const QString leftover = folder + QStringLiteral(".orvane.aB3xYz");
    const QString foreign = folder + QStringLiteral(".orvane.longer.name");
    m_root->write(leftover, "[Unit]\nDescr");
    m_root->write(foreign, "x");
    QTest::ignoreMessage(QtInfoMsg,
                         QStringLiteral("Removed an unfinished file: \"%1\"")
                             .arg(m_root->path(leftover))
                             .toUtf8()
                             .constData());
    LeftoverFiles(places()).removeUnfinished();
    QVERIFY(!m_root->exists(leftover));
    QVERIFY(m_root->exists(foreign));
}

void TestLeftoverFiles::keepsAFileThatIsBeingWritten()
{
    const QString folder = QStringLiteral("/etc/systemd/system");
    const QDir directory(m_root->path(folder));
    PreparedFile text(m_root->path(folder + QStringLiteral("/x.service")), "text");
    LeftoverFiles(places()).removeUnfinished();
    QCOMPARE(directory.entryList(QDir::Files | QDir::Hidden).size(), 1);
    QCOMPARE(text.commit(), FileWrite::Written);
    QCOMPARE(directory.entryList(QDir::Files | QDir::Hidden),
             QStringList(QStringLiteral("x.service")));
}

void TestLeftoverFiles::removesEmptyFoldersOfSettings()
{
    const QStringList names{QStringLiteral("com.example.Empty"), QStringLiteral("no id")};
    for (const QString &name : names)
        QVERIFY(QDir().mkpath(m_root->path(settings(name))));
    m_root->write(settings(QStringLiteral("com.example.Notes/5.conf")), "x");
    m_root->write(settings(QStringLiteral("com.example.File")), "x");
    QVERIFY(QFile::link(m_root->path(settings(names.at(1))),
                        m_root->path(settings(QStringLiteral("com.example.Link")))));
    QTest::ignoreMessage(QtInfoMsg,
                         QStringLiteral("Removed an empty folder: \"%1\"")
                             .arg(m_root->path(settings(names.at(0))))
                             .toUtf8()
                             .constData());
    LeftoverFiles(places()).removeEmptyFolders();
    QCOMPARE(
        QDir(m_root->path(settings(QString()))).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
        QStringList({QStringLiteral("com.example.File"), QStringLiteral("com.example.Link"),
                     QStringLiteral("com.example.Notes"), QStringLiteral("no id")}));
}

void TestLeftoverFiles::hasNothingToDoWithoutFolders()
{
    const Places nowhere = Places::below(m_root->path(QStringLiteral("/nowhere")));
    const LeftoverFiles leftovers(nowhere);
    leftovers.removeUnfinished();
    leftovers.removeEmptyFolders();
    QVERIFY(!leftovers.removePolicies({}));
    QVERIFY(!m_root->exists(QStringLiteral("/nowhere")));
}

QTEST_GUILESS_MAIN(TestLeftoverFiles)
#include "tst_leftover_files.moc"

#include "common/places.h"
#include "files/file_state.h"
#include "plan/task_names.h"
#include "support/literals.h"
#include "system/Core/task_files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <climits>
#include <csignal>
#include <sys/resource.h>

namespace {

const QString taskId = u"com.example.Notes.task_sync"_s;

QByteArray typicalText()
{
    return "[Unit]\n"
           "Description=Background task for com.example.Notes.task_sync\n"
           "After=sailjail-prepare-binds.service\n"
           "\n"
           "[Service]\n"
           "Environment=A=1 B=two words\n"
           "ExecStart=/usr/bin/firejail -- /bin/true\n"
           "User=nobody\n"
           "\n"
           "[Install]\n"
           "WantedBy=multi-user.target\n";
}

QByteArray otherText() { return "[Unit]\nDescription=Another\n"; }

// The id of a task whose unit name has this many bytes.
QString taskIdForUnitNameOf(int bytes)
{
    const auto application = bytes - Core::unitNameOf(u"com..task_t"_s).size();
    return QLatin1String("com.") + QString(application, QLatin1Char('n'))
        + QLatin1String(".task_t");
}

void expectIncompleteWrite(const QString &path)
{
    QTest::ignoreMessage(QtWarningMsg,
                         u"Could not write file: \"%1\""_s.arg(path).toUtf8().constData());
}

QStringList filesIn(const QString &besides)
{
    return QFileInfo(besides).dir().entryList(QDir::Files | QDir::Hidden | QDir::System);
}

// Zero when there is no such file.
quint64 inodeOf(const QString &path)
{
    return FileState::of(QFile::encodeName(path).constData()).inode;
}

Core::TaskPlan newPlan()
{
    Core::TaskPlan plan;
    plan.taskId = taskId;
    plan.policy = QByteArray("new policy");
    return plan;
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(cannot be read)");
}

} // namespace

class TestTaskFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void writesTheUnitFile();
    void replacesTheUnitFile();
    void doesNotMakeTheUnitDirectory();
    void reportsAUnitFileThatCannotBeOpened();
    void writesTheUnitOfTheLongestName();
    void reportsANameThatIsTooLong();
    void keepsTheOldUnitWhenTheDiskIsFull();
    void writesUnitAndPolicy();
    void keepsTheOldPairWhenThePolicyCannotBeWritten();
    void keepsTheOldPairWhenTheUnitCannotTakeItsPlace_data();
    void keepsTheOldPairWhenTheUnitCannotTakeItsPlace();
    void keepsANewUnitWhosePolicyCannotBeWritten();
    void removesUnitAndPolicy();
    void saysWhichFileItCouldNotRemove_data();
    void saysWhichFileItCouldNotRemove();

private:
    void makeUnitDirectory() const;
    void fill(const QString &path, const QByteArray &text) const;
    [[nodiscard]] QString unitPath() const { return Core::unitFilePath(places(), taskId); }
    [[nodiscard]] QString policyPath() const { return Core::policyFilePath(places(), taskId); }
    [[nodiscard]] Places places() const { return Places::below(m_root->path()); }

    QScopedPointer<QTemporaryDir> m_root;
};

void TestTaskFiles::init()
{
    m_root.reset(new QTemporaryDir);
    QVERIFY(m_root->isValid());
}

void TestTaskFiles::cleanup() { m_root.reset(); }

void TestTaskFiles::makeUnitDirectory() const
{
    QVERIFY(QDir(m_root->path()).mkpath(u"etc/systemd/system"_s));
}

void TestTaskFiles::writesTheUnitFile()
{
    makeUnitDirectory();
    QVERIFY(Core::writeUnitFile(places(), taskId, typicalText()));
    QCOMPARE(contentOf(Core::unitFilePath(places(), taskId)), typicalText());
}

void TestTaskFiles::replacesTheUnitFile()
{
    makeUnitDirectory();
    QVERIFY(Core::writeUnitFile(places(), taskId, typicalText()));
    QVERIFY(Core::writeUnitFile(places(), taskId, otherText()));
    QCOMPARE(contentOf(Core::unitFilePath(places(), taskId)), otherText());
}

void TestTaskFiles::doesNotMakeTheUnitDirectory()
{
    QVERIFY(!Core::writeUnitFile(places(), taskId, typicalText()));
    QVERIFY(QDir(m_root->path()).isEmpty());
}

void TestTaskFiles::reportsAUnitFileThatCannotBeOpened()
{
    QVERIFY(QDir().mkpath(Core::unitFilePath(places(), taskId)));
    QVERIFY(!Core::writeUnitFile(places(), taskId, typicalText()));
}

void TestTaskFiles::writesTheUnitOfTheLongestName()
{
    makeUnitDirectory();
    const QString id = taskIdForUnitNameOf(NAME_MAX);
    QVERIFY(Core::writeUnitFile(places(), id, typicalText()));
    // Again, because there is a file to replace now.
    QVERIFY(Core::writeUnitFile(places(), id, otherText()));
    QCOMPARE(contentOf(Core::unitFilePath(places(), id)), otherText());
}

void TestTaskFiles::reportsANameThatIsTooLong()
{
    makeUnitDirectory();
    const QString id = taskIdForUnitNameOf(NAME_MAX + 1);
    expectIncompleteWrite(Core::unitFilePath(places(), id));
    QVERIFY(!Core::writeUnitFile(places(), id, typicalText()));
    constexpr auto everything = QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot;
    QVERIFY(QDir(m_root->filePath(u"etc/systemd/system"_s)).isEmpty(everything));
}

void TestTaskFiles::keepsTheOldUnitWhenTheDiskIsFull()
{
    makeUnitDirectory();
    const QString path = Core::unitFilePath(places(), taskId);
    QVERIFY(Core::writeUnitFile(places(), taskId, typicalText()));

    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit before = {};
    QCOMPARE(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit limit{8, before.rlim_max};
    expectIncompleteWrite(path);
    ::setrlimit(RLIMIT_FSIZE, &limit);
    const bool written = Core::writeUnitFile(places(), taskId, otherText());
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);

    QVERIFY(!written);
    QCOMPARE(contentOf(path), typicalText());
}

void TestTaskFiles::fill(const QString &path, const QByteArray &text) const
{
    QVERIFY(QDir().mkpath(QFileInfo(path).path()));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(text), qint64(text.size()));
}

void TestTaskFiles::writesUnitAndPolicy()
{
    makeUnitDirectory();
    QVERIFY(!Core::writeTaskFiles(newPlan(), places()));
    QCOMPARE(contentOf(unitPath()), newPlan().unit());
    QCOMPARE(contentOf(policyPath()), *newPlan().policy);
}

void TestTaskFiles::keepsTheOldPairWhenThePolicyCannotBeWritten()
{
    fill(unitPath(), "old unit");
    // A link into a missing folder, through which nothing can be written.
    QVERIFY(QDir().mkpath(QFileInfo(policyPath()).path()));
    QVERIFY(QFile::link(m_root->filePath(u"nowhere/policy"_s), policyPath()));
    QTest::ignoreMessage(QtWarningMsg,
                         u"Could not create file: \"%1\""_s.arg(policyPath()).toUtf8().constData());
    const Core::Error error = Core::writeTaskFiles(newPlan(), places());
    QCOMPARE(error.message(), QLatin1String("Failed to write DBus policy file for ") + taskId);
    QCOMPARE(contentOf(unitPath()), QByteArray("old unit"));
    QVERIFY(QFileInfo(policyPath()).isSymLink());
    QCOMPARE(filesIn(unitPath()), QStringList(Core::unitNameOf(taskId)));
}

void TestTaskFiles::keepsTheOldPairWhenTheUnitCannotTakeItsPlace_data()
{
    QTest::addColumn<QByteArray>("oldPolicy");
    QTest::newRow("a policy") << QByteArray("old policy");
    QTest::newRow("none") << QByteArray("(cannot be read)");
}

void TestTaskFiles::keepsTheOldPairWhenTheUnitCannotTakeItsPlace()
{
    QFETCH(QByteArray, oldPolicy);
    makeUnitDirectory();
    // A device that is always full, instead of the unit.
    QVERIFY(QFile::link(u"/dev/full"_s, unitPath()));
    if (oldPolicy != "(cannot be read)")
        fill(policyPath(), oldPolicy);
    const quint64 oldInode = inodeOf(policyPath());
    expectIncompleteWrite(unitPath());
    const Core::Error error = Core::writeTaskFiles(newPlan(), places());
    QCOMPARE(error.message(), QLatin1String("Failed to write unit file for ") + taskId);
    QVERIFY(QFileInfo(unitPath()).isSymLink());
    QCOMPARE(contentOf(policyPath()), oldPolicy);
    // The old file itself, because a disk that refuses the unit may refuse a copy, too.
    QCOMPARE(inodeOf(policyPath()), oldInode);
    QCOMPARE(filesIn(policyPath()).size(), oldPolicy == "old policy" ? 1 : 0);
}

void TestTaskFiles::keepsANewUnitWhosePolicyCannotBeWritten()
{
    makeUnitDirectory();
    QVERIFY(QDir().mkpath(policyPath()));
    QTest::ignoreMessage(QtWarningMsg,
                         u"Could not create file: \"%1\""_s.arg(policyPath()).toUtf8().constData());
    QVERIFY(Core::writeTaskFiles(newPlan(), places()));
    QCOMPARE(contentOf(unitPath()), newPlan().unit());
}

void TestTaskFiles::removesUnitAndPolicy()
{
    fill(unitPath(), "unit");
    fill(policyPath(), "policy");
    const Core::ApplicationTaskId id(taskId);
    Core::TaskFilesRemoval removal = Core::removeTaskFiles(places(), id);
    QVERIFY(removal.isComplete && removal.removedPolicy);
    QVERIFY(!QFileInfo::exists(unitPath()) && !QFileInfo::exists(policyPath()));
    // Files that never existed are no failure.
    removal = Core::removeTaskFiles(places(), id);
    QVERIFY(removal.isComplete && !removal.removedPolicy);
}

void TestTaskFiles::saysWhichFileItCouldNotRemove_data()
{
    QTest::addColumn<bool>("unitStays");
    QTest::newRow("the unit") << true;
    QTest::newRow("the policy") << false;
}

void TestTaskFiles::saysWhichFileItCouldNotRemove()
{
    QFETCH(bool, unitStays);
    const QString stays = unitStays ? unitPath() : policyPath();
    const QString other = unitStays ? policyPath() : unitPath();
    QVERIFY(QDir().mkpath(stays));
    fill(other, "x");
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression(u"^Could not remove file: \"%1\""_s.arg(
                             QRegularExpression::escape(stays))));
    const Core::TaskFilesRemoval removal =
        Core::removeTaskFiles(places(), Core::ApplicationTaskId(taskId));
    QVERIFY(!removal.isComplete && !removal.removedPolicy);
    // A unit is not left without its policy.
    QCOMPARE(QFileInfo::exists(other), unitStays);
}

QTEST_GUILESS_MAIN(TestTaskFiles)
#include "tst_task_files.moc"

#include "common/places.h"
#include "plan/task_names.h"
#include "system/Core/task_files.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <climits>
#include <csignal>
#include <sys/resource.h>

namespace {

const QString taskId = QStringLiteral("com.example.Notes.task_sync");

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

// A task whose unit's name has as many bytes.
QString taskIdForUnitNameOf(int bytes)
{
    const int application = bytes - Core::unitNameOf(QStringLiteral("com..task_t")).size();
    return QLatin1String("com.") + QString(application, QLatin1Char('n'))
        + QLatin1String(".task_t");
}

void expectIncompleteWrite(const QString &path)
{
    QTest::ignoreMessage(
        QtWarningMsg,
        QStringLiteral("Could not write file: \"%1\"").arg(path).toUtf8().constData());
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

private:
    void makeUnitDirectory() const;
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
    QVERIFY(QDir(m_root->path()).mkpath(QStringLiteral("etc/systemd/system")));
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
    // Again, as there is something to replace now.
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
    QVERIFY(QDir(m_root->filePath(QStringLiteral("etc/systemd/system"))).isEmpty(everything));
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

QTEST_GUILESS_MAIN(TestTaskFiles)
#include "tst_task_files.moc"

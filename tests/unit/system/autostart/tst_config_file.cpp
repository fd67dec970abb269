#include "common/Core/findings.h"
#include "common/autostart/settings.h"
#include "system/autostart/config_file.h"

#include "component/immutable_path.h"
#include "support/literals.h"

#include <QDir>
#include <QFile>
#include <QScopeGuard>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using Autostart::writeRuntimeConfig;

namespace {

bool write(const QString &path, const QByteArray &text)
{
    QFile file(path);
    return QDir().mkpath(QFileInfo(path).path()) && file.open(QIODevice::WriteOnly)
        && file.write(text) == text.size();
}

QByteArray read(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(cannot be read)");
}

} // namespace

class TestConfigFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_directory = std::make_unique<QTemporaryDir>(); }

    void writesWhatTheSettingsReaderReads_data();
    void writesWhatTheSettingsReaderReads();
    void everybodyMayReadWhatItWrites();
    void leavesNothingBesideWhatItWrites();
    void replacesALinkInsteadOfItsTarget();
    void replacesAPipe();
    void reportsADirectoryInPlaceOfTheFile();
    void reportsAFileInPlaceOfTheDirectory();
    void keepsASettingThatCannotBeRemoved();
    void keepsASettingInAReadOnlyDirectory();
    void reportsAReadOnlyDirectory();
    void keepsTheSettingWhenTheDiskIsFull();
    void leavesNothingWhenTheDiskIsFull();

    void readsAFileAgainEachTime();

private:
    QString path(const QString &relative = {}) const { return m_directory->filePath(relative); }
    QString setting() const { return path(u"a.b/5.conf"_s); }
    bool isEnabled() const
    {
        const auto settings =
            Autostart::readConfigFiles(path(), {u"*.conf"_s}, 5, Core::LoggedFindings::instance());
        return !settings.isEmpty() && settings.constLast().enabled;
    }
    bool isEmpty() const { return Autostart::configFilesBelow(path(), {}).isEmpty(); }

    std::unique_ptr<QTemporaryDir> m_directory;
};

void TestConfigFile::writesWhatTheSettingsReaderReads_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<int>("uid");
    QTest::addColumn<bool>("enabled");
    QTest::addColumn<QByteArray>("text");

    QTest::newRow("one user") << u"a.b"_s << 100000 << true
                              << QByteArray("[a.b%7C100000]\nautostart=true\n");
    QTest::newRow("one user, off") << u"com.example.Notes"_s << 0 << false
                                   << QByteArray("[com.example.Notes%7C0]\nautostart=false\n");
    QTest::newRow("all users") << u"a.b"_s << -1 << true << QByteArray("[a.b]\nautostart=true\n");
    QTest::newRow("the pseudo application")
        << u"enabledMode"_s << 5 << true << QByteArray("[enabledMode%7C5]\nautostart=true\n");
    QTest::newRow("every character of an id")
        << u"0a-z_9.A_Z-.x"_s << 2147483647 << true
        << QByteArray("[0a-z_9.A_Z-.x%7C2147483647]\nautostart=true\n");
}

void TestConfigFile::writesWhatTheSettingsReaderReads()
{
    QFETCH(QString, id);
    QFETCH(int, uid);
    QFETCH(bool, enabled);
    QFETCH(QByteArray, text);

    QVERIFY(writeRuntimeConfig(setting(), id, uid, enabled));
    QCOMPARE(read(setting()), text);

    const QString reference = path(u"reference"_s);
    {
        QSettings settings(reference, QSettings::IniFormat);
        settings.beginGroup(uid == -1 ? id : id + QLatin1Char('|') + QString::number(uid));
        settings.setValue(u"autostart"_s, enabled ? u"true"_s : u"false"_s);
    }
    QCOMPARE(read(setting()), read(reference));
}

void TestConfigFile::everybodyMayReadWhatItWrites()
{
    const mode_t before = ::umask(0077);
    const auto restore = qScopeGuard([before] { ::umask(before); });

    QVERIFY(writeRuntimeConfig(setting(), u"a.b"_s, 5, true));
    struct stat status = {};
    QCOMPARE(::stat(QFile::encodeName(setting()).constData(), &status), 0);
    QCOMPARE(status.st_mode & 07777U, 0644U);
}

void TestConfigFile::leavesNothingBesideWhatItWrites()
{
    QVERIFY(writeRuntimeConfig(setting(), u"a.b"_s, 5, true));
    QVERIFY(writeRuntimeConfig(setting(), u"a.b"_s, 5, false));
    QCOMPARE(QDir(path(u"a.b"_s)).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
             QStringList{u"5.conf"_s});
}

void TestConfigFile::replacesALinkInsteadOfItsTarget()
{
    const QString target = path(u"target"_s);
    QVERIFY(write(target, "kept"));
    QVERIFY(QDir(path()).mkdir(u"a.b"_s));
    QVERIFY(QFile::link(target, setting()));

    QVERIFY(writeRuntimeConfig(setting(), u"a.b"_s, 5, true));
    QVERIFY(!QFileInfo(setting()).isSymLink());
    QCOMPARE(read(target), QByteArray("kept"));
}

void TestConfigFile::replacesAPipe()
{
    QVERIFY(QDir(path()).mkdir(u"a.b"_s));
    QCOMPARE(::mkfifo(QFile::encodeName(setting()).constData(), 0600), 0);

    QVERIFY(writeRuntimeConfig(setting(), u"a.b"_s, 5, true));
    QCOMPARE(read(setting()), QByteArray("[a.b%7C5]\nautostart=true\n"));
}

void TestConfigFile::reportsADirectoryInPlaceOfTheFile()
{
    QVERIFY(QDir().mkpath(setting()));

    const QString warning = u"couldn't remove old runtime config: \"%1\""_s.arg(setting());
    QTest::ignoreMessage(QtWarningMsg, qPrintable(warning));
    QVERIFY(!writeRuntimeConfig(setting(), u"a.b"_s, 5, true));
    QVERIFY(QFileInfo(setting()).isDir());
}

void TestConfigFile::reportsAFileInPlaceOfTheDirectory()
{
    QVERIFY(write(path(u"a.b"_s), "in the way"));

    const QString warning =
        u"couldn't create base directory \"%1\" for \"%2\""_s.arg(path(u"a.b"_s), setting());
    QTest::ignoreMessage(QtWarningMsg, qPrintable(warning));
    QVERIFY(!writeRuntimeConfig(setting(), u"a.b"_s, 5, true));
    QCOMPARE(read(path(u"a.b"_s)), QByteArray("in the way"));
}

void TestConfigFile::keepsASettingThatCannotBeRemoved()
{
    QVERIFY(write(setting(), "earlier"));
    MAKE_IMMUTABLE(setting());

    const QString warning = u"couldn't remove old runtime config: \"%1\""_s.arg(setting());
    QTest::ignoreMessage(QtWarningMsg, qPrintable(warning));
    QVERIFY(!writeRuntimeConfig(setting(), u"a.b"_s, 5, true));
    QCOMPARE(read(setting()), QByteArray("earlier"));
}

void TestConfigFile::keepsASettingInAReadOnlyDirectory()
{
    QVERIFY(write(setting(), "earlier"));
    MAKE_IMMUTABLE(path(u"a.b"_s));

    const QString warning = u"couldn't remove old runtime config: \"%1\""_s.arg(setting());
    QTest::ignoreMessage(QtWarningMsg, qPrintable(warning));
    QVERIFY(!writeRuntimeConfig(setting(), u"a.b"_s, 5, true));
    QCOMPARE(read(setting()), QByteArray("earlier"));
}

void TestConfigFile::reportsAReadOnlyDirectory()
{
    QVERIFY(QDir(path()).mkdir(u"a.b"_s));
    MAKE_IMMUTABLE(path(u"a.b"_s));

    const QString warning =
        u"couldn't open configuration file for writing: \"%1\""_s.arg(setting());
    QTest::ignoreMessage(QtWarningMsg, qPrintable(warning));
    QVERIFY(!writeRuntimeConfig(setting(), u"a.b"_s, 5, true));
    QVERIFY(!QFileInfo::exists(setting()));
}

namespace {

/// Writes the setting while the size of files of this process is limited, like on a full disk.
bool writeOnAFullDisk(const QString &path, rlim_t room)
{
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit before = {};
    ::getrlimit(RLIMIT_FSIZE, &before);
    const rlimit full{room, before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &full);
    const bool written = writeRuntimeConfig(path, u"a.b"_s, 5, true);
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    return written;
}

} // namespace

void TestConfigFile::keepsTheSettingWhenTheDiskIsFull()
{
    QVERIFY(write(setting(), "earlier"));

    bool written = true;
    QString log;
    static QString *collected = nullptr;
    collected = &log;
    // The limit also applies to the test's own log file, so nothing may be printed meanwhile.
    const auto printed = qInstallMessageHandler(
        [](QtMsgType, const QMessageLogContext &, const QString &text) { *collected += text; });
    written = writeOnAFullDisk(setting(), 10);
    qInstallMessageHandler(printed);

    QVERIFY(!written);
    QCOMPARE(log, u"couldn't open configuration file for writing: \"%1\""_s.arg(setting()));
    QCOMPARE(read(setting()), QByteArray("earlier"));
    QCOMPARE(QDir(path(u"a.b"_s)).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
             QStringList{u"5.conf"_s});
}

void TestConfigFile::leavesNothingWhenTheDiskIsFull()
{
    static QString log;
    const auto printed = qInstallMessageHandler(
        [](QtMsgType, const QMessageLogContext &, const QString &text) { log += text; });
    const bool written = writeOnAFullDisk(setting(), 0);
    qInstallMessageHandler(printed);

    QVERIFY(!written);
    QCOMPARE(log, u"couldn't open configuration file for writing: \"%1\""_s.arg(setting()));
    QVERIFY(QDir(path(u"a.b"_s)).isEmpty());
}

void TestConfigFile::readsAFileAgainEachTime()
{
    QVERIFY(writeRuntimeConfig(setting(), u"a.b"_s, 5, true));
    QVERIFY(isEnabled());
    QVERIFY(writeRuntimeConfig(setting(), u"a.b"_s, 5, false));
    QVERIFY(!isEmpty());
    QVERIFY(!isEnabled());
    QVERIFY(QFile::remove(setting()));
    QVERIFY(isEmpty());
}

QTEST_GUILESS_MAIN(TestConfigFile)
#include "tst_config_file.moc"

#include "system/autostart/config_file.h"

#include "component/immutable_path.h"
#include "support/odd_file.h"

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

using Autostart::EnabledMap;
using Autostart::readConfigFiles;
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

    void readsGroupsForEverybodyAndForOneUser_data();
    void readsGroupsForEverybodyAndForOneUser();
    void readsSubdirectoriesAndHiddenFiles();
    void readsOnlyWhatTheFilterNames();
    void laterFilesOverrideEarlierOnes();
    void readsAFileAnewEachTime();
    void survivesStrangeFiles_data();
    void survivesStrangeFiles();
    void readsBooleansAsTheSettingsLibraryDoes_data();
    void readsBooleansAsTheSettingsLibraryDoes();
    void readsAtMostAFewMebibytes();
    void leavesOutIdsThatAreNone();
    void reachesTheLastOfManyAndDeepDirectories();

private:
    QString path(const QString &relative = {}) const { return m_directory->filePath(relative); }
    QString setting() const { return path(QStringLiteral("a.b/5.conf")); }
    EnabledMap readAll(int uid = 5) const
    {
        EnabledMap enabled;
        readConfigFiles(path(), {QStringLiteral("*.conf")}, uid, enabled);
        return enabled;
    }

    std::unique_ptr<QTemporaryDir> m_directory;
};

void TestConfigFile::writesWhatTheSettingsReaderReads_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<int>("uid");
    QTest::addColumn<bool>("enabled");
    QTest::addColumn<QByteArray>("text");

    QTest::newRow("one user") << QStringLiteral("a.b") << 100000 << true
                              << QByteArray("[a.b%7C100000]\nautostart=true\n");
    QTest::newRow("one user, off") << QStringLiteral("com.example.Notes") << 0 << false
                                   << QByteArray("[com.example.Notes%7C0]\nautostart=false\n");
    QTest::newRow("all users") << QStringLiteral("a.b") << -1 << true
                               << QByteArray("[a.b]\nautostart=true\n");
    QTest::newRow("the pseudo application") << QStringLiteral("enabledMode") << 5 << true
                                            << QByteArray("[enabledMode%7C5]\nautostart=true\n");
    QTest::newRow("every character of an id")
        << QStringLiteral("0a-z_9.A_Z-.x") << 2147483647 << true
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

    const QString reference = path(QStringLiteral("reference"));
    {
        QSettings settings(reference, QSettings::IniFormat);
        settings.beginGroup(uid == -1 ? id : id + QLatin1Char('|') + QString::number(uid));
        settings.setValue(QStringLiteral("autostart"),
                          enabled ? QStringLiteral("true") : QStringLiteral("false"));
    }
    QCOMPARE(read(setting()), read(reference));
}

void TestConfigFile::everybodyMayReadWhatItWrites()
{
    const mode_t before = ::umask(0077);
    const auto restore = qScopeGuard([before] { ::umask(before); });

    QVERIFY(writeRuntimeConfig(setting(), QStringLiteral("a.b"), 5, true));
    struct stat status = {};
    QCOMPARE(::stat(QFile::encodeName(setting()).constData(), &status), 0);
    QCOMPARE(status.st_mode & 07777U, 0644U);
}

void TestConfigFile::leavesNothingBesideWhatItWrites()
{
    QVERIFY(writeRuntimeConfig(setting(), QStringLiteral("a.b"), 5, true));
    QVERIFY(writeRuntimeConfig(setting(), QStringLiteral("a.b"), 5, false));
    QCOMPARE(QDir(path(QStringLiteral("a.b")))
                 .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
             QStringList{QStringLiteral("5.conf")});
}

void TestConfigFile::replacesALinkInsteadOfItsTarget()
{
    const QString target = path(QStringLiteral("target"));
    QVERIFY(write(target, "kept"));
    QVERIFY(QDir(path()).mkdir(QStringLiteral("a.b")));
    QVERIFY(QFile::link(target, setting()));

    QVERIFY(writeRuntimeConfig(setting(), QStringLiteral("a.b"), 5, true));
    QVERIFY(!QFileInfo(setting()).isSymLink());
    QCOMPARE(read(target), QByteArray("kept"));
}

void TestConfigFile::replacesAPipe()
{
    QVERIFY(QDir(path()).mkdir(QStringLiteral("a.b")));
    QCOMPARE(::mkfifo(QFile::encodeName(setting()).constData(), 0600), 0);

    QVERIFY(writeRuntimeConfig(setting(), QStringLiteral("a.b"), 5, true));
    QCOMPARE(read(setting()), QByteArray("[a.b%7C5]\nautostart=true\n"));
}

void TestConfigFile::reportsADirectoryInPlaceOfTheFile()
{
    QVERIFY(QDir().mkpath(setting()));

    const QString warning =
        QStringLiteral("couldn't remove old runtime config: \"%1\"").arg(setting());
    QTest::ignoreMessage(QtWarningMsg, qPrintable(warning));
    QVERIFY(!writeRuntimeConfig(setting(), QStringLiteral("a.b"), 5, true));
    QVERIFY(QFileInfo(setting()).isDir());
}

void TestConfigFile::reportsAFileInPlaceOfTheDirectory()
{
    QVERIFY(write(path(QStringLiteral("a.b")), "in the way"));

    const QString warning = QStringLiteral("couldn't create base directory \"%1\" for \"%2\"")
                                .arg(path(QStringLiteral("a.b")), setting());
    QTest::ignoreMessage(QtWarningMsg, qPrintable(warning));
    QVERIFY(!writeRuntimeConfig(setting(), QStringLiteral("a.b"), 5, true));
    QCOMPARE(read(path(QStringLiteral("a.b"))), QByteArray("in the way"));
}

void TestConfigFile::keepsASettingThatCannotBeRemoved()
{
    QVERIFY(write(setting(), "earlier"));
    MAKE_IMMUTABLE(setting());

    const QString warning =
        QStringLiteral("couldn't remove old runtime config: \"%1\"").arg(setting());
    QTest::ignoreMessage(QtWarningMsg, qPrintable(warning));
    QVERIFY(!writeRuntimeConfig(setting(), QStringLiteral("a.b"), 5, true));
    QCOMPARE(read(setting()), QByteArray("earlier"));
}

void TestConfigFile::keepsASettingInAReadOnlyDirectory()
{
    QVERIFY(write(setting(), "earlier"));
    MAKE_IMMUTABLE(path(QStringLiteral("a.b")));

    const QString warning =
        QStringLiteral("couldn't remove old runtime config: \"%1\"").arg(setting());
    QTest::ignoreMessage(QtWarningMsg, qPrintable(warning));
    QVERIFY(!writeRuntimeConfig(setting(), QStringLiteral("a.b"), 5, true));
    QCOMPARE(read(setting()), QByteArray("earlier"));
}

void TestConfigFile::reportsAReadOnlyDirectory()
{
    QVERIFY(QDir(path()).mkdir(QStringLiteral("a.b")));
    MAKE_IMMUTABLE(path(QStringLiteral("a.b")));

    const QString warning =
        QStringLiteral("couldn't open configuration file for writing: \"%1\"").arg(setting());
    QTest::ignoreMessage(QtWarningMsg, qPrintable(warning));
    QVERIFY(!writeRuntimeConfig(setting(), QStringLiteral("a.b"), 5, true));
    QVERIFY(!QFileInfo::exists(setting()));
}

namespace {

/// Writes the setting while no file of this process may grow beyond some bytes, as on a full disk.
bool writeOnAFullDisk(const QString &path, rlim_t room)
{
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit before = {};
    ::getrlimit(RLIMIT_FSIZE, &before);
    const rlimit full{room, before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &full);
    const bool written = writeRuntimeConfig(path, QStringLiteral("a.b"), 5, true);
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
    // The limit is on the test's own log file too: nothing is to be printed meanwhile.
    const auto printed = qInstallMessageHandler(
        [](QtMsgType, const QMessageLogContext &, const QString &text) { *collected += text; });
    written = writeOnAFullDisk(setting(), 10);
    qInstallMessageHandler(printed);

    QVERIFY(!written);
    QCOMPARE(log,
             QStringLiteral("couldn't open configuration file for writing: \"%1\"").arg(setting()));
    QCOMPARE(read(setting()), QByteArray("earlier"));
    QCOMPARE(QDir(path(QStringLiteral("a.b"))).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
             QStringList{QStringLiteral("5.conf")});
}

void TestConfigFile::leavesNothingWhenTheDiskIsFull()
{
    static QString log;
    const auto printed = qInstallMessageHandler(
        [](QtMsgType, const QMessageLogContext &, const QString &text) { log += text; });
    const bool written = writeOnAFullDisk(setting(), 0);
    qInstallMessageHandler(printed);

    QVERIFY(!written);
    QCOMPARE(log,
             QStringLiteral("couldn't open configuration file for writing: \"%1\"").arg(setting()));
    QVERIFY(QDir(path(QStringLiteral("a.b"))).isEmpty());
}

void TestConfigFile::readsGroupsForEverybodyAndForOneUser_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<EnabledMap>("expected");

    const QString id = QStringLiteral("a.b");
    QTest::newRow("everybody") << QByteArray("[a.b]\nautostart=true\n") << EnabledMap{{id, true}};
    QTest::newRow("everybody, off")
        << QByteArray("[a.b]\nautostart=false\n") << EnabledMap{{id, false}};
    QTest::newRow("a number") << QByteArray("[a.b]\nautostart=1\n") << EnabledMap{{id, true}};
    QTest::newRow("missing") << QByteArray("[a.b]\nother=true\n") << EnabledMap{{id, false}};
    QTest::newRow("unreadable") << QByteArray("[a.b]\nautostart=@Variant(x)\n")
                                << EnabledMap{{id, false}};
    QTest::newRow("a value that ends who deserialises it")
        << "[a.b]\nautostart=" + OddFile::fatalValue() + "\n"
        << EnabledMap{{id, false}};
    QTest::newRow("this user") << QByteArray("[a.b%7C5]\nautostart=true\n")
                               << EnabledMap{{id, true}};
    QTest::newRow("this user, not escaped")
        << QByteArray("[a.b|5]\nautostart=true\n") << EnabledMap{{id, true}};
    QTest::newRow("another user") << QByteArray("[a.b%7C100001]\nautostart=true\n") << EnabledMap{};
    QTest::newRow("nobody") << QByteArray("[a.b%7C]\nautostart=true\n") << EnabledMap{};
    QTest::newRow("many groups")
        << QByteArray("[a.b]\nautostart=true\n[c.d]\nautostart=false\n[e.f%7C5]\nautostart=true\n")
        << EnabledMap{{id, true}, {QStringLiteral("c.d"), false}, {QStringLiteral("e.f"), true}};
    QTest::newRow("no group") << QByteArray("autostart=true\n") << EnabledMap{};
    QTest::newRow("empty") << QByteArray() << EnabledMap{};
}

void TestConfigFile::readsGroupsForEverybodyAndForOneUser()
{
    QFETCH(QByteArray, text);
    QFETCH(EnabledMap, expected);

    QVERIFY(write(path(QStringLiteral("x.conf")), text));
    QCOMPARE(readAll(), expected);
}

void TestConfigFile::readsSubdirectoriesAndHiddenFiles()
{
    QVERIFY(write(path(QStringLiteral("deep/er/x.conf")), "[a.b]\nautostart=true\n"));
    QVERIFY(write(path(QStringLiteral(".c.d/.conf")), "[.c.d]\nautostart=true\n"));
    QCOMPARE(readAll().keys(), QStringList({QStringLiteral(".c.d"), QStringLiteral("a.b")}));
}

void TestConfigFile::readsOnlyWhatTheFilterNames()
{
    QVERIFY(write(path(QStringLiteral("x.conf.bak")), "[a.b]\nautostart=true\n"));
    QVERIFY(write(path(QStringLiteral("15.conf")), "[c.d]\nautostart=true\n"));
    QVERIFY(write(path(QStringLiteral("5.conf")), "[e.f]\nautostart=true\n"));

    EnabledMap enabled;
    readConfigFiles(path(), {QStringLiteral("5.conf")}, 5, enabled);
    QCOMPARE(enabled.keys(), QStringList{QStringLiteral("e.f")});
}

void TestConfigFile::laterFilesOverrideEarlierOnes()
{
    QVERIFY(write(path(QStringLiteral("20.conf")), "[a.b]\nautostart=false\n"));
    QVERIFY(
        write(path(QStringLiteral("10.conf")), "[a.b]\nautostart=true\n[c.d]\nautostart=true\n"));
    EnabledMap enabled{{QStringLiteral("c.d"), false}, {QStringLiteral("e.f"), true}};

    readConfigFiles(path(), {QStringLiteral("*.conf")}, 5, enabled);
    const EnabledMap expected{{QStringLiteral("a.b"), false},
                              {QStringLiteral("c.d"), true},
                              {QStringLiteral("e.f"), true}};
    QCOMPARE(enabled, expected);
}

void TestConfigFile::readsAFileAnewEachTime()
{
    QVERIFY(writeRuntimeConfig(setting(), QStringLiteral("a.b"), 5, true));
    QVERIFY(readAll().value(QStringLiteral("a.b")));
    QVERIFY(writeRuntimeConfig(setting(), QStringLiteral("a.b"), 5, false));
    QVERIFY(!readAll().value(QStringLiteral("a.b"), true));
    QVERIFY(QFile::remove(setting()));
    QVERIFY(readAll().isEmpty());
}

void TestConfigFile::survivesStrangeFiles_data()
{
    QTest::addColumn<QString>("kind");

    const QStringList kinds = OddFile::kinds()
        + QStringList{QStringLiteral("unreadable"), QStringLiteral("binary"),
                      QStringLiteral("huge")};
    for (const QString &kind : kinds)
        QTest::newRow(qPrintable(kind)) << kind;
}

namespace {

bool makeStrangeFile(const QString &kind, const QString &path)
{
    const QByteArray name = QFile::encodeName(path);
    if (kind == QLatin1String("unreadable"))
        return write(path, "autostart") && ::chmod(name.constData(), 0) == 0;
    if (kind == QLatin1String("binary"))
        return write(path, QByteArray("\0\xff[\xfe]=\x01[[[%ZZ\n=\0=\n]", 20));
    const QByteArray text = "[big.one]\nautostart=true\n";
    // Sparse: no disk is filled by it.
    if (kind == QLatin1String("huge"))
        return write(path, text) && QFile::resize(path, 1LL << 40);
    return OddFile::make(kind, path, text);
}

} // namespace

void TestConfigFile::survivesStrangeFiles()
{
    QFETCH(QString, kind);

    QVERIFY(makeStrangeFile(kind, path(QStringLiteral("strange.conf"))));
    QVERIFY(write(path(QStringLiteral("z.conf")), "[a.b]\nautostart=true\n"));
    QCOMPARE(readAll().keys(true), QStringList{QStringLiteral("a.b")});
}

void TestConfigFile::readsBooleansAsTheSettingsLibraryDoes_data()
{
    QTest::addColumn<QByteArray>("value");
    for (const char *value :
         {"", "true", "false", "False", "FALSE", "0", "1", "00", "-1", "no", "off", " false ",
          "\" false \"", "true,true", "false,", "\\x30", "f\\x61lse", "\"0\"", "false ; x"})
        QTest::addRow("\"%s\"", value) << QByteArray(value);
}

void TestConfigFile::readsBooleansAsTheSettingsLibraryDoes()
{
    QFETCH(QByteArray, value);
    QVERIFY(write(path(QStringLiteral("x.conf")), "[a.b]\nautostart=" + value + "\n"));
    const QSettings reference(path(QStringLiteral("x.conf")), QSettings::IniFormat);
    QCOMPARE(readAll().value(QStringLiteral("a.b")),
             reference.value(QStringLiteral("a.b/autostart")).toBool());
}

void TestConfigFile::readsAtMostAFewMebibytes()
{
    for (int i = 0; i < 40; ++i)
        QVERIFY(write(path(QStringLiteral("a%1.conf").arg(i)),
                      "[big.one]\nautostart=true\n;" + QByteArray(1000000, 'x')));
    for (int i = 0; i < 40; ++i)
        QVERIFY(write(path(QStringLiteral("large%1.conf").arg(i)),
                      "[big.one" + QByteArray::number(i) + "]\nautostart=true\n;"
                          + QByteArray(1000000, 'x')));
    QVERIFY(write(path(QStringLiteral("z.conf")), "[a.b]\nautostart=true\n"));
    QTest::ignoreMessage(
        QtWarningMsg,
        QRegularExpression(QStringLiteral("^Autostart settings are too large. Left out: 76 ")));
    const EnabledMap enabled = readAll();
    QVERIFY(enabled.value(QStringLiteral("a.b")));
    QVERIFY(enabled.size() < 7);
}

void TestConfigFile::leavesOutIdsThatAreNone()
{
    QVERIFY(write(path(QStringLiteral("x.conf")),
                  "[a.b" + QByteArray(100000, 'x') + "]\nautostart=true\n[a.b]\nautostart=true\n"));
    QCOMPARE(readAll().keys(), QStringList{QStringLiteral("a.b")});
}

// Each level of a walk may hold a descriptor.
void TestConfigFile::reachesTheLastOfManyAndDeepDirectories()
{
    QString deep = path(QStringLiteral("deep"));
    while (deep.size() < 3500)
        deep += QStringLiteral("/d");
    QVERIFY(QDir().mkpath(deep));
    for (int i = 0; i < 2000; ++i)
        QVERIFY(QDir(path()).mkdir(QStringLiteral("w%1").arg(i)));
    QVERIFY(write(path(QStringLiteral("z/z.conf")), "[a.b]\nautostart=true\n"));
    rlimit before = {};
    QCOMPARE(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit few{256, before.rlim_max};
    QCOMPARE(::setrlimit(RLIMIT_NOFILE, &few), 0);
    const EnabledMap enabled = readAll();
    QCOMPARE(::setrlimit(RLIMIT_NOFILE, &before), 0);
    QVERIFY(enabled.value(QStringLiteral("a.b")));
}

QTEST_GUILESS_MAIN(TestConfigFile)
#include "tst_config_file.moc"

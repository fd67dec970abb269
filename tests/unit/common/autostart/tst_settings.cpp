#include "common/Core/findings.h"
#include "common/Core/rules.h"
#include "common/autostart/settings.h"
#include "common/places.h"
#include "support/collected_findings.h"
#include "support/literals.h"
#include "support/odd_file.h"
#include "unit/common/Core/log_lines.h"

#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/resource.h>
#include <sys/stat.h>

using Autostart::Layers;
using Autostart::Settings;

namespace {

bool write(const QString &path, const QByteArray &text)
{
    QFile file(path);
    return QDir().mkpath(QFileInfo(path).path()) && file.open(QIODevice::WriteOnly)
        && file.write(text) == text.size();
}

using EnabledMap = QMap<QString, bool>;

/// Adds to and removes from `enabled` according to the files.
void readInto(const QString &directory, const QStringList &nameFilters, int uid,
              EnabledMap &enabled)
{
    const auto settings =
        Autostart::readConfigFiles(directory, nameFilters, uid, Core::LoggedFindings::instance());
    for (const Autostart::Setting &setting : settings)
        enabled.insert(setting.application, setting.enabled);
}

} // namespace

class TestSettings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_directory = std::make_unique<QTemporaryDir>(); }

    void readsGroupsForEverybodyAndForOneUser_data();
    void readsGroupsForEverybodyAndForOneUser();
    void readsSubdirectoriesAndHiddenFiles();
    void readsOnlyWhatTheFilterNames();
    void laterFilesOverrideEarlierOnes();
    void skipsASettingOfAUserThatIsNoNumber_data();
    void skipsASettingOfAUserThatIsNoNumber();
    void survivesStrangeFiles_data();
    void survivesStrangeFiles();
    void readsBooleansAsTheSettingsLibraryDoes_data();
    void readsBooleansAsTheSettingsLibraryDoes();
    void readsAtMostAFewMebibytes();
    void leavesOutInvalidIds();
    void reachesTheLastOfManyAndDeepDirectories();
    void tellsWhichFileOfWhichLayerDecides_data();
    void tellsWhichFileOfWhichLayerDecides();
    void tellsEveryFileOfALayer();
    void tellsTheLayersOfEveryApplication();
    void leavesTheStoreAsItIs();
    void reportsWhatIsReadDifferentlyThanWritten_data();
    void reportsWhatIsReadDifferentlyThanWritten();

private:
    QString path(const QString &relative = {}) const { return m_directory->filePath(relative); }
    EnabledMap readAll(int uid = 5) const
    {
        EnabledMap enabled;
        readInto(path(), {u"*.conf"_s}, uid, enabled);
        return enabled;
    }

    std::unique_ptr<QTemporaryDir> m_directory;
};

void TestSettings::readsGroupsForEverybodyAndForOneUser_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<EnabledMap>("expected");

    const QString id = u"a.b"_s;
    QTest::newRow("everybody") << QByteArray("[a.b]\nautostart=true\n") << EnabledMap{{id, true}};
    QTest::newRow("everybody, off")
        << QByteArray("[a.b]\nautostart=false\n") << EnabledMap{{id, false}};
    QTest::newRow("a number") << QByteArray("[a.b]\nautostart=1\n") << EnabledMap{{id, true}};
    QTest::newRow("missing") << QByteArray("[a.b]\nother=true\n") << EnabledMap{{id, false}};
    QTest::newRow("unreadable") << QByteArray("[a.b]\nautostart=@Variant(x)\n")
                                << EnabledMap{{id, false}};
    QTest::newRow("a value that would crash a deserialiser")
        << "[a.b]\nautostart=" + OddFile::fatalValue() + "\n"
        << EnabledMap{{id, false}};
    QTest::newRow("this user") << QByteArray("[a.b%7C5]\nautostart=true\n")
                               << EnabledMap{{id, true}};
    QTest::newRow("this user, not escaped")
        << QByteArray("[a.b|5]\nautostart=true\n") << EnabledMap{{id, true}};
    QTest::newRow("another user") << QByteArray("[a.b%7C100001]\nautostart=true\n") << EnabledMap{};
    QTest::newRow("nobody") << QByteArray("[a.b%7C]\nautostart=true\n") << EnabledMap{};
    QTest::newRow("many groups") << QByteArray(
        "[a.b]\nautostart=true\n[c.d]\nautostart=false\n[e.f%7C5]\nautostart=true\n")
                                 << EnabledMap{{id, true}, {u"c.d"_s, false}, {u"e.f"_s, true}};
    QTest::newRow("no group") << QByteArray("autostart=true\n") << EnabledMap{};
    QTest::newRow("empty") << QByteArray() << EnabledMap{};
}

void TestSettings::readsGroupsForEverybodyAndForOneUser()
{
    QFETCH(QByteArray, text);
    QFETCH(EnabledMap, expected);

    QVERIFY(write(path(u"x.conf"_s), text));
    QCOMPARE(readAll(), expected);
}

void TestSettings::readsSubdirectoriesAndHiddenFiles()
{
    QVERIFY(write(path(u"deep/er/x.conf"_s), "[a.b]\nautostart=true\n"));
    QVERIFY(write(path(u".c.d/.conf"_s), "[.c.d]\nautostart=true\n"));
    QCOMPARE(readAll().keys(), QStringList({u".c.d"_s, u"a.b"_s}));
}

void TestSettings::readsOnlyWhatTheFilterNames()
{
    QVERIFY(write(path(u"x.conf.bak"_s), "[a.b]\nautostart=true\n"));
    QVERIFY(write(path(u"15.conf"_s), "[c.d]\nautostart=true\n"));
    QVERIFY(write(path(u"5.conf"_s), "[e.f]\nautostart=true\n"));

    EnabledMap enabled;
    readInto(path(), {u"5.conf"_s}, 5, enabled);
    QCOMPARE(enabled.keys(), QStringList{u"e.f"_s});
    QVERIFY(write(path(u"x.CONF"_s), "[g.h]\nautostart=true\n"));
    QCOMPARE(readAll().keys(), QStringList({u"c.d"_s, u"e.f"_s}));
}

void TestSettings::skipsASettingOfAUserThatIsNoNumber_data()
{
    QTest::addColumn<QByteArray>("group");
    QTest::newRow("a name") << QByteArray("a.b%7Croot");
    QTest::newRow("nothing") << QByteArray("a.b%7C");
    QTest::newRow("a number and more") << QByteArray("a.b%7C0x");
    QTest::newRow("too large a number") << QByteArray("a.b%7C4294967296");
}

void TestSettings::skipsASettingOfAUserThatIsNoNumber()
{
    QFETCH(QByteArray, group);
    QVERIFY(write(path(u"x.conf"_s), '[' + group + "]\nautostart=true\n"));
    QCOMPARE(readAll(0), EnabledMap());
}

void TestSettings::laterFilesOverrideEarlierOnes()
{
    QVERIFY(write(path(u"20.conf"_s), "[a.b]\nautostart=false\n"));
    QVERIFY(write(path(u"10.conf"_s), "[a.b]\nautostart=true\n[c.d]\nautostart=true\n"));
    EnabledMap enabled{{u"c.d"_s, false}, {u"e.f"_s, true}};

    readInto(path(), {u"*.conf"_s}, 5, enabled);
    const EnabledMap expected{{u"a.b"_s, false}, {u"c.d"_s, true}, {u"e.f"_s, true}};
    QCOMPARE(enabled, expected);
}

void TestSettings::survivesStrangeFiles_data()
{
    QTest::addColumn<QString>("kind");

    const QStringList kinds =
        OddFile::kinds() + QStringList{u"unreadable"_s, u"binary"_s, u"huge"_s};
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
    // A sparse file, which takes no room on the disk.
    if (kind == QLatin1String("huge"))
        return write(path, text) && QFile::resize(path, 1LL << 40);
    return OddFile::make(kind, path, text);
}

} // namespace

void TestSettings::survivesStrangeFiles()
{
    QFETCH(QString, kind);

    QVERIFY(makeStrangeFile(kind, path(u"strange.conf"_s)));
    QVERIFY(write(path(u"z.conf"_s), "[a.b]\nautostart=true\n"));
    QCOMPARE(readAll().keys(true), QStringList{u"a.b"_s});
}

void TestSettings::readsBooleansAsTheSettingsLibraryDoes_data()
{
    QTest::addColumn<QByteArray>("value");
    for (const char *value :
         {"", "true", "false", "False", "FALSE", "0", "1", "00", "-1", "no", "off", " false ",
          "\" false \"", "true,true", "false,", "\\x30", "f\\x61lse", "\"0\"", "false ; x"})
        QTest::addRow("\"%s\"", value) << QByteArray(value);
}

void TestSettings::readsBooleansAsTheSettingsLibraryDoes()
{
    QFETCH(QByteArray, value);
    QVERIFY(write(path(u"x.conf"_s), "[a.b]\nautostart=" + value + "\n"));
    const QSettings reference(path(u"x.conf"_s), QSettings::IniFormat);
    QCOMPARE(readAll().value(u"a.b"_s), reference.value(u"a.b/autostart"_s).toBool());
}

void TestSettings::readsAtMostAFewMebibytes()
{
    for (int i = 0; i < 40; ++i)
        QVERIFY(write(path(u"a%1.conf"_s.arg(i)),
                      "[big.one]\nautostart=true\n;" + QByteArray(1000000, 'x')));
    for (int i = 0; i < 40; ++i)
        QVERIFY(write(path(u"large%1.conf"_s.arg(i)),
                      "[big.one" + QByteArray::number(i) + "]\nautostart=true\n;"
                          + QByteArray(1000000, 'x')));
    QVERIFY(write(path(u"z.conf"_s), "[a.b]\nautostart=true\n"));
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression(u"^Autostart settings are too large. Left out: 76 "_s));
    const EnabledMap enabled = readAll();
    QVERIFY(enabled.value(u"a.b"_s));
    QVERIFY(enabled.size() < 7);
}

void TestSettings::leavesOutInvalidIds()
{
    QVERIFY(write(path(u"x.conf"_s),
                  "[a.b" + QByteArray(100000, 'x') + "]\nautostart=true\n[a.b]\nautostart=true\n"));
    QCOMPARE(readAll().keys(), QStringList{u"a.b"_s});
}

// A recursive walk may have one descriptor open for each level.
void TestSettings::reachesTheLastOfManyAndDeepDirectories()
{
    QString deep = path(u"deep"_s);
    while (deep.size() < 3500)
        deep += u"/d"_s;
    QVERIFY(QDir().mkpath(deep));
    for (int i = 0; i < 2000; ++i)
        QVERIFY(QDir(path()).mkdir(u"w%1"_s.arg(i)));
    QVERIFY(write(path(u"z/z.conf"_s), "[a.b]\nautostart=true\n"));
    rlimit before = {};
    QCOMPARE(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit few{256, before.rlim_max};
    QCOMPARE(::setrlimit(RLIMIT_NOFILE, &few), 0);
    const EnabledMap enabled = readAll();
    QCOMPARE(::setrlimit(RLIMIT_NOFILE, &before), 0);
    QVERIFY(enabled.value(u"a.b"_s));
}

void TestSettings::tellsWhichFileOfWhichLayerDecides_data()
{
    QTest::addColumn<QString>("system");
    QTest::addColumn<QString>("allUsers");
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("file");
    QTest::addColumn<bool>("enabled");

    const QString none;
    const QString on = u"true"_s;
    const QString off = u"false"_s;
    const QString systemFile = u"etc/am/conf.d/x.conf"_s;
    const QString allFile = u"var/lib/am/apps/a.b/all-users.conf"_s;
    const QString userFile = u"var/lib/am/apps/a.b/5.conf"_s;
    QTest::newRow("nothing") << none << none << none << none << false;
    QTest::newRow("the system") << on << none << none << systemFile << true;
    QTest::newRow("all users") << on << off << none << allFile << false;
    QTest::newRow("the user, on") << off << off << on << userFile << true;
    QTest::newRow("the user, off") << on << on << off << userFile << false;
}

void TestSettings::tellsWhichFileOfWhichLayerDecides()
{
    QFETCH(QString, system);
    QFETCH(QString, allUsers);
    QFETCH(QString, user);
    QFETCH(QString, file);
    QFETCH(bool, enabled);

    const auto set = [&](const char *place, const QByteArray &group, const QString &value) {
        return value.isEmpty()
            || write(path(QString::fromLatin1(place)),
                     "; set by a test\n[" + group + "]\nautostart=" + value.toLatin1() + "\n");
    };
    QVERIFY(set("etc/am/conf.d/x.conf", "a.b", system));
    QVERIFY(set("var/lib/am/apps/a.b/all-users.conf", "a.b", allUsers));
    QVERIFY(set("var/lib/am/apps/a.b/5.conf", "a.b%7C5", user));
    const Settings settings(Places::below(path()), Core::LoggedFindings::instance());
    const Layers layers = settings.layersOf(u"a.b"_s, 5);
    QCOMPARE(layers.deciding() == nullptr, file.isEmpty());
    if (!file.isEmpty()) {
        QCOMPARE(layers.deciding()->file, path(file));
        QCOMPARE(layers.deciding()->line, 3);
    }
    QCOMPARE(layers.isEnabled(), enabled);
    QCOMPARE(settings.enabledApplications(5).contains(u"a.b"_s), enabled);
    QVERIFY(settings.layersOf(u"c.d"_s, 5).deciding() == nullptr);
}

void TestSettings::tellsEveryFileOfALayer()
{
    QVERIFY(write(path(u"etc/am/conf.d/1.conf"_s), "[a.b]\nautostart=true\n"));
    QVERIFY(write(path(u"etc/am/conf.d/2.conf"_s), "[a.b]\n\nautostart=false\n"));
    const Settings settings(Places::below(path()), Core::LoggedFindings::instance());
    const Layers layers = settings.layersOf(u"a.b"_s, 5);
    QCOMPARE(layers.system.size(), 2);
    QVERIFY(layers.system.constFirst().enabled);
    QCOMPARE(layers.deciding()->file, path(u"etc/am/conf.d/2.conf"_s));
    QCOMPARE(layers.deciding()->line, 3);
    QVERIFY(!layers.isEnabled());
}

void TestSettings::tellsTheLayersOfEveryApplication()
{
    QVERIFY(
        write(path(u"etc/am/conf.d/1.conf"_s), "[a.b]\nautostart=true\n[c.d]\nautostart=true\n"));
    QVERIFY(write(path(u"var/lib/am/apps/a.b/5.conf"_s),
                  "[a.b%7C5]\nautostart=false\n[a.b%7C6]\nautostart=true\n"));
    const Settings settings(Places::below(path()), Core::LoggedFindings::instance());
    const QMap<QString, Layers> all = settings.allLayers(5);
    QCOMPARE(all.keys(), QStringList({u"a.b"_s, u"c.d"_s}));
    const Layers &one = all.first();
    QCOMPARE(one.system.size(), 1);
    QCOMPARE(one.allUsers.size(), 0);
    QCOMPARE(one.user.size(), 1);
    QVERIFY(!one.isEnabled());
    QVERIFY(all.last().isEnabled());
    // This is the file of another user.
    QVERIFY(settings.allLayers(6).first().user.isEmpty());
}

// The daemon removes the settings of removed users at the start; a reader must not.
void TestSettings::leavesTheStoreAsItIs()
{
    const QString file = path(u"var/lib/am/apps/a.b/4242.conf"_s);
    QVERIFY(write(file, "[a.b%7C4242]\nautostart=true\n"));
    QCOMPARE(
        Settings(Places::below(path()), Core::LoggedFindings::instance()).enabledApplications(4242),
        QStringList{u"a.b"_s});
    QVERIFY(QFileInfo::exists(file));
}

void TestSettings::reportsWhatIsReadDifferentlyThanWritten_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("rule");
    QTest::addColumn<int>("line");

    QTest::newRow("a word that is no boolean")
        << QByteArray("[a.b]\nautostart=off\n") << u"autostart-boolean"_s << 2;
    QTest::newRow("no key") << QByteArray("[a.b]\nx=true\n") << u"autostart-boolean"_s << 0;
    QTest::newRow("a user by name")
        << QByteArray("[a.b%7Croot]\nautostart=true\n") << u"autostart-user"_s << 0;
    QTest::newRow("no id") << QByteArray("[Notes]\nautostart=true\n") << u"autostart-id"_s << 0;
    QTest::newRow("what the daemon writes")
        << QByteArray("[a.b%7C5]\nautostart=true\n[enabledMode]\nautostart=false\n") << QString()
        << 0;
}

void TestSettings::reportsWhatIsReadDifferentlyThanWritten()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, rule);
    QFETCH(int, line);

    QVERIFY(write(path(u"x.conf"_s), text));
    CollectedFindings findings;
    (void)Autostart::readConfigFiles(path(), Autostart::anyConfigFile(), 5, findings);
    QCOMPARE(findings.rules().join(QLatin1Char(' ')), rule);
    if (rule.isEmpty())
        return;
    QCOMPARE(findings.all.constFirst().file, path(u"x.conf"_s));
    QCOMPARE(findings.all.constFirst().line, line);
    // The daemon does not log it.
    const LogLines log;
    (void)Autostart::readConfigFiles(path(), Autostart::anyConfigFile(), 5,
                                     Core::LoggedFindings::instance());
    QCOMPARE(log.taken(), QStringList());
}

QTEST_GUILESS_MAIN(TestSettings)
#include "tst_settings.moc"

// Tests what depends on files: the program, the profiles and the permissions.

#include "service/Core/firejail.h"
#include "service/Core/firejail_p.h"
#include "support/collected_findings.h"

#include <QDir>
#include <QFile>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>

using Core::Error;
using Core::Firejail;
using Core::FirejailPrivate;

namespace {

// Creates a file and its parent directories.
void makeFile(const QString &path, const QByteArray &text, bool executable = false)
{
    QVERIFY(QDir().mkpath(QFileInfo(path).path()));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(text), qint64(text.size()));
    QFileDevice::Permissions permissions = QFileDevice::ReadOwner | QFileDevice::WriteOwner;
    if (executable)
        permissions |= QFileDevice::ExeOwner;
    QVERIFY(file.setPermissions(permissions));
}

QByteArrayList permissionOptions(const QStringList &permissions, const QStringList &folders)
{
    Places places;
    places.permissionFolders = folders;
    return Core::textsOf(
        Core::permissionWords(permissions, places, Core::LoggedFindings::instance()));
}

} // namespace

class TestFirejailLookups : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void refusesAnEmptyArgumentList();
    void refusesARelativeProgram_data();
    void refusesARelativeProgram();
    void checksNothingButThePathUnderComponentTests_data();
    void checksNothingButThePathUnderComponentTests();
    void requiresALegacyProgramInUsrBin_data();
    void requiresALegacyProgramInUsrBin();
    void requiresAnExecutableFile_data();
    void requiresAnExecutableFile();
    void acceptsOnlyAFileAsABinary();
    void requiresAnElfBinary_data();
    void requiresAnElfBinary();
    void findsTheProgramBelowTheRootDirectory();
    void checksProgramsBelowTheirRootAndNamesThemWithoutIt();
    void checksTheTargetOfALinkBelowTheRoot();
    void checksNoProgramsWhenThePlacesSayNotTo();
    void findsPermissionsBelowTheRootAndNamesThemWithoutIt();
    void reportsAnUnknownPermissionByItsRule();
    void findsAProfileBelowTheRootDirectory();
    void keepsProfilesInOrder();
    void refusesAnUnknownProfile();
    void leavesOutAnUnknownPermission();
    void keepsKnownPermissionsInOrder();
    void leavesOutAPermissionThatIsSpecialInAUnit_data();
    void leavesOutAPermissionThatIsSpecialInAUnit();
    void prefersTheFirstPermissionDirectory();
    void findsNoPermissionWithoutItsExtension();
    // Must be the last test, because it changes the places of the process.
    void usesThePlacesOfTheProcessByDefault();

private:
    QString path(const char *name) const { return m_root->filePath(QLatin1String(name)); }
    // The error of computing the command line for `program`; checks that there are no words with
    // it.
    Error errorOf(const Firejail &sandbox, const QString &program) const;

    QScopedPointer<QTemporaryDir> m_root;
};

void TestFirejailLookups::init()
{
    qunsetenv("ORVANE_COMPONENT_TESTS");
    m_root.reset(new QTemporaryDir);
    QVERIFY(m_root->isValid());
}

void TestFirejailLookups::cleanup() { m_root.reset(); }

Error TestFirejailLookups::errorOf(const Firejail &sandbox, const QString &program) const
{
    const auto result = sandbox.computeArgv({program.toUtf8(), "argument"}, {});
    if (result.second && !result.first.isEmpty())
        return {Error::Failed, QStringLiteral("an error and a vector")};
    return result.second;
}

#define COMPARE_INVALID(error, text)                                                               \
    do {                                                                                           \
        const Error actual = (error);                                                              \
        QCOMPARE(actual.message(), (text));                                                        \
        QCOMPARE(actual.code(), qint32(Error::InvalidArgs));                                       \
    } while (false)

void TestFirejailLookups::refusesAnEmptyArgumentList()
{
    Firejail sandbox;
    sandbox.setProfiles({QStringLiteral("unknown")});
    const auto result = sandbox.computeArgv({}, {QStringLiteral("Unknown")});
    COMPARE_INVALID(result.second, QStringLiteral("Empty argument list"));
    QCOMPARE(result.first, QByteArrayList());
}

void TestFirejailLookups::refusesARelativeProgram_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<bool>("componentTests");
    QTest::newRow("a name") << QStringLiteral("sleep") << false;
    QTest::newRow("a name under component tests") << QStringLiteral("sleep") << true;
    QTest::newRow("a relative path") << QStringLiteral("bin/true") << false;
    QTest::newRow("nothing") << QString() << false;
    QTest::newRow("a blank first") << QStringLiteral(" /bin/true") << false;
}

void TestFirejailLookups::refusesARelativeProgram()
{
    QFETCH(QString, program);
    QFETCH(bool, componentTests);
    if (componentTests)
        qputenv("ORVANE_COMPONENT_TESTS", "1");
    const auto restore = qScopeGuard([] { qunsetenv("ORVANE_COMPONENT_TESTS"); });
    Firejail sandbox;
    sandbox.setLegacy(true);
    COMPARE_INVALID(errorOf(sandbox, program),
                    program + QStringLiteral(" is not an absolute path"));
}

void TestFirejailLookups::checksNothingButThePathUnderComponentTests_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::newRow("set") << QByteArray("1");
    QTest::newRow("set to no") << QByteArray("0");
    QTest::newRow("set to nothing") << QByteArray("");
}

void TestFirejailLookups::checksNothingButThePathUnderComponentTests()
{
    QFETCH(QByteArray, value);
    makeFile(path("script"), "#!/bin/sh\n", true);
    Firejail sandbox;
    sandbox.setLegacy(true);
    QVERIFY(errorOf(sandbox, path("missing")));

    qputenv("ORVANE_COMPONENT_TESTS", value);
    const auto restore = qScopeGuard([] { qunsetenv("ORVANE_COMPONENT_TESTS"); });
    QCOMPARE(errorOf(sandbox, path("missing")).message(), QString());
    QCOMPARE(errorOf(sandbox, path("script")).message(), QString());
}

void TestFirejailLookups::requiresALegacyProgramInUsrBin_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<QString>("message");
    const QString elsewhere = QStringLiteral("Legacy apps must be in: /usr/bin");
    QTest::newRow("in /usr/bin") << QStringLiteral("/usr/bin/true") << QString();
    QTest::newRow("in /bin") << QStringLiteral("/bin/true") << elsewhere;
    QTest::newRow("below /usr/bin") << QStringLiteral("/usr/bin/x/true") << elsewhere;
    QTest::newRow("with two slashes") << QStringLiteral("/usr/bin//true") << elsewhere;
    QTest::newRow("beside /usr/bin") << QStringLiteral("/usr/binary") << elsewhere;
    QTest::newRow("missing, elsewhere") << QStringLiteral("/nowhere/true") << elsewhere;
    QTest::newRow("the directory itself")
        << QStringLiteral("/usr/bin/") << QStringLiteral("/usr/bin/ is not an ELF binary");
}

void TestFirejailLookups::requiresALegacyProgramInUsrBin()
{
    QFETCH(QString, program);
    QFETCH(QString, message);
    Firejail sandbox;
    sandbox.setLegacy(true);
    const Error error = errorOf(sandbox, program);
    QCOMPARE(error.message(), message);
    QCOMPARE(error.code(), qint32(message.isEmpty() ? Error::NoError : Error::InvalidArgs));
}

void TestFirejailLookups::requiresAnExecutableFile_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("a file without the permission") << QStringLiteral("plain");
    QTest::newRow("nothing there") << QStringLiteral("missing");
    QTest::newRow("a link to nothing") << QStringLiteral("dangling");
}

void TestFirejailLookups::requiresAnExecutableFile()
{
    QFETCH(QString, name);
    makeFile(path("plain"), "\177ELF and so on");
    QVERIFY(QFile::link(path("nowhere"), path("dangling")));
    const QString program = m_root->filePath(name);
    COMPARE_INVALID(errorOf(Firejail(), program), program + QStringLiteral(" is not executable"));
}

void TestFirejailLookups::acceptsOnlyAFileAsABinary()
{
    QVERIFY(QDir(m_root->path()).mkdir(QStringLiteral("directory")));
    // It has no writer, so opening it would block.
    QCOMPARE(::mkfifo(QFile::encodeName(path("pipe")).constData(), 0777), 0);
    for (const char *name : {"directory", "pipe"}) {
        const QString program = path(name);
        COMPARE_INVALID(errorOf(Firejail(), program),
                        program + QStringLiteral(" is not an ELF binary"));
    }
}

void TestFirejailLookups::requiresAnElfBinary_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("isElf");
    QTest::newRow("a script") << QByteArray("#!/bin/sh\nexit 0\n") << false;
    QTest::newRow("an empty file") << QByteArray() << false;
    QTest::newRow("three bytes of four") << QByteArray("\177EL") << false;
    QTest::newRow("without the first byte") << QByteArray("ELF ELF") << false;
    QTest::newRow("in small letters") << QByteArray("\177elf") << false;
    QTest::newRow("the four bytes") << QByteArray("\177ELF") << true;
    QTest::newRow("the four bytes and more") << QByteArray("\177ELF\x02\x01") << true;
}

void TestFirejailLookups::requiresAnElfBinary()
{
    QFETCH(QByteArray, content);
    QFETCH(bool, isElf);
    makeFile(path("program"), content, true);
    const Error error = errorOf(Firejail(), path("program"));
    if (isElf)
        QCOMPARE(error.message(), QString());
    else
        COMPARE_INVALID(error, path("program") + QStringLiteral(" is not an ELF binary"));
}

void TestFirejailLookups::findsTheProgramBelowTheRootDirectory()
{
    Firejail sandbox;
    sandbox.setRootDirectory(m_root->path());
    COMPARE_INVALID(errorOf(sandbox, QStringLiteral("/bin/true")),
                    QStringLiteral("/bin/true is not executable"));

    makeFile(path("opt/worker"), "\177ELF", true);
    const auto result = sandbox.computeArgv({"/opt/worker", "-v"}, {});
    QCOMPARE(result.second.message(), QString());
    QCOMPARE(result.first,
             (QByteArrayList{m_root->path().toUtf8() + "/usr/bin/firejail", "--quiet",
                             "--private-bin=worker", "--whitelist=/srv/shared/empty",
                             "--blacklist=/srv/shared/empty", "--whitelist=/usr/share/common/empty",
                             "--blacklist=/usr/share/common/empty", "--", "/opt/worker", "-v"}));
}

void TestFirejailLookups::checksProgramsBelowTheirRootAndNamesThemWithoutIt()
{
    Firejail sandbox;
    sandbox.setPlaces(Places::below(m_root->path()));
    // /bin/true exists on this system, but not below the root.
    COMPARE_INVALID(errorOf(sandbox, QStringLiteral("/bin/true")),
                    QStringLiteral("/bin/true is not executable"));
    makeFile(path("opt/worker"), "\177ELF", true);
    const auto result = sandbox.computeArgv({"/opt/worker"}, {});
    QCOMPARE(result.second.message(), QString());
    QCOMPARE(result.first.constFirst(), QByteArray("/usr/bin/firejail"));
    QCOMPARE(result.first.constLast(), QByteArray("/opt/worker"));
}

void TestFirejailLookups::checksTheTargetOfALinkBelowTheRoot()
{
    Firejail sandbox;
    sandbox.setPlaces(Places::below(m_root->path()));
    makeFile(path("opt/worker"), "#!/bin/sh\n", true);
    QVERIFY(QDir(m_root->path()).mkpath(QStringLiteral("usr/bin")));
    // On this system the same path leads to a binary.
    QVERIFY(QFile::link(QStringLiteral("/bin/true"), path("usr/bin/tool")));
    COMPARE_INVALID(errorOf(sandbox, QStringLiteral("/usr/bin/tool")),
                    QStringLiteral("/usr/bin/tool is not executable"));
    makeFile(path("bin/true"), "\177ELF", true);
    QCOMPARE(errorOf(sandbox, QStringLiteral("/usr/bin/tool")).message(), QString());
}

void TestFirejailLookups::checksNoProgramsWhenThePlacesSayNotTo()
{
    Places places;
    places.programsAreExamined = false;
    Firejail sandbox;
    sandbox.setPlaces(places);
    QCOMPARE(errorOf(sandbox, path("missing")).message(), QString());
    // The places that are set are used, not the environment.
    places.programsAreExamined = true;
    sandbox.setPlaces(places);
    qputenv("ORVANE_COMPONENT_TESTS", "1");
    const auto restore = qScopeGuard([] { qunsetenv("ORVANE_COMPONENT_TESTS"); });
    COMPARE_INVALID(errorOf(sandbox, path("missing")),
                    path("missing") + QStringLiteral(" is not executable"));
}

void TestFirejailLookups::findsPermissionsBelowTheRootAndNamesThemWithoutIt()
{
    Firejail sandbox;
    sandbox.setPlaces(Places::below(m_root->path()));
    makeFile(path("bin/true"), "\177ELF", true);
    makeFile(path("var/lib/sailjail/permissions/Audio.permission"), "");
    const auto result = sandbox.computeArgv({"/bin/true"}, {QStringLiteral("Audio")});
    QCOMPARE(result.first.mid(7),
             (QByteArrayList{"--profile=/var/lib/sailjail/permissions/Audio.permission", "--",
                             "/bin/true"}));
}

void TestFirejailLookups::reportsAnUnknownPermissionByItsRule()
{
    CollectedFindings collected;
    makeFile(path("Audio.permission"), "");
    Places places;
    places.permissionFolders = QStringList{m_root->path() + QLatin1Char('/')};
    const auto words = Core::permissionWords({QStringLiteral("Audio"), QStringLiteral("Video")},
                                             places, collected);
    QCOMPARE(words.size(), 1);
    QCOMPARE(words.constFirst().permission, QStringLiteral("Audio"));
    QCOMPARE(words.constFirst().file, path("Audio.permission"));
    QCOMPARE(collected.all.size(), 1);
    QCOMPARE(collected.all.constFirst().rule, QStringLiteral("unknown-permission"));
    QCOMPARE(collected.all.constFirst().key, QStringLiteral("Video"));
    QCOMPARE(collected.all.constFirst().text, QStringLiteral("Unknown permission \"Video\""));
}

void TestFirejailLookups::findsAProfileBelowTheRootDirectory()
{
    FirejailPrivate sandbox;
    sandbox.rootDirectory = m_root->path();
    QCOMPARE(sandbox.profilePath(QStringLiteral("Known")), QString());
    makeFile(path("etc/sailjail/permissions/Known.profile"), "");
    QCOMPARE(sandbox.profilePath(QStringLiteral("Known")),
             path("etc/sailjail/permissions/Known.profile"));
}

void TestFirejailLookups::keepsProfilesInOrder()
{
    makeFile(path("bin/true"), "\177ELF", true);
    makeFile(path("etc/sailjail/permissions/B.profile"), "");
    makeFile(path("etc/sailjail/permissions/A.profile"), "");
    Firejail sandbox;
    sandbox.setRootDirectory(m_root->path());
    sandbox.setProfiles({QStringLiteral("B"), QStringLiteral("/not/looked/at"), QStringLiteral("A"),
                         QStringLiteral("B")});
    const QByteArray directory = m_root->path().toUtf8() + "/etc/sailjail/permissions/";
    QCOMPARE(sandbox.computeArgv({"/bin/true"}, {}).first.mid(7),
             (QByteArrayList{"--profile=" + directory + "B.profile", "--profile=/not/looked/at",
                             "--profile=" + directory + "A.profile",
                             "--profile=" + directory + "B.profile", "--", "/bin/true"}));
}

void TestFirejailLookups::refusesAnUnknownProfile()
{
    Firejail sandbox;
    sandbox.setProfiles({QStringLiteral("/a/path"), QStringLiteral("no-such-profile")});
    COMPARE_INVALID(errorOf(sandbox, QStringLiteral("/bin/true")),
                    QStringLiteral("Unknown profile no-such-profile"));
}

void TestFirejailLookups::leavesOutAnUnknownPermission()
{
    QTest::ignoreMessage(QtWarningMsg, "Unknown permission \"no-such-permission\"");
    QTest::ignoreMessage(QtWarningMsg, "Unknown permission \"\"");
    const auto result =
        Firejail().computeArgv({"/bin/true"}, {QStringLiteral("no-such-permission"), QString()});
    QCOMPARE(result.second.message(), QString());
    QCOMPARE(result.first.mid(6),
             (QByteArrayList{"--blacklist=/usr/share/common/empty", "--", "/bin/true"}));
}

void TestFirejailLookups::keepsKnownPermissionsInOrder()
{
    makeFile(path("Camera.permission"), "");
    makeFile(path("Audio.permission"), "");
    QTest::ignoreMessage(QtWarningMsg, "Unknown permission \"Missing\"");
    const QStringList asked{QStringLiteral("Camera"), QStringLiteral("Missing"),
                            QStringLiteral("Audio"), QStringLiteral("Camera")};
    const QByteArray directory = m_root->path().toUtf8();
    QCOMPARE(permissionOptions(asked, {m_root->path() + QLatin1Char('/')}),
             (QByteArrayList{"--profile=" + directory + "/Camera.permission",
                             "--profile=" + directory + "/Audio.permission",
                             "--profile=" + directory + "/Camera.permission"}));
}

void TestFirejailLookups::leavesOutAPermissionThatIsSpecialInAUnit_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("a blank") << QStringLiteral("Audio --noprofile");
    QTest::newRow("a double quote") << QStringLiteral("Au\"dio");
    QTest::newRow("a single quote") << QStringLiteral("Au'dio");
    QTest::newRow("a backslash") << QStringLiteral("Au\\x2fdio");
    QTest::newRow("a dollar") << QStringLiteral("${HOME}");
    QTest::newRow("a percent sign") << QStringLiteral("%n");
}

void TestFirejailLookups::leavesOutAPermissionThatIsSpecialInAUnit()
{
    QFETCH(QString, name);
    makeFile(m_root->filePath(name + QLatin1String(".permission")), "");
    makeFile(path("Audio.permission"), "");
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^Unknown permission ")));
    const QString directory = m_root->path() + QLatin1Char('/');
    QCOMPARE(permissionOptions({name, QStringLiteral("Audio")}, {directory}),
             QByteArrayList{"--profile=" + directory.toUtf8() + "Audio.permission"});
}

void TestFirejailLookups::prefersTheFirstPermissionDirectory()
{
    const QString first = path("first/");
    const QString second = path("second/");
    const QString name = QStringLiteral("Audio");
    QCOMPARE(Core::permissionPath(name, {first, second}), QString());
    makeFile(path("second/Audio.permission"), "");
    QCOMPARE(Core::permissionPath(name, {first, second}), path("second/Audio.permission"));
    makeFile(path("first/Audio.permission"), "");
    QCOMPARE(Core::permissionPath(name, {first, second}), path("first/Audio.permission"));
}

void TestFirejailLookups::findsNoPermissionWithoutItsExtension()
{
    makeFile(path("Audio"), "");
    makeFile(path("Audio.profile"), "");
    QCOMPARE(Core::permissionPath(QStringLiteral("Audio"), {m_root->path() + QLatin1Char('/')}),
             QString());
}

void TestFirejailLookups::usesThePlacesOfTheProcessByDefault()
{
    const QString program = QStringLiteral("/nowhere/program");
    QVERIFY(errorOf(Firejail(), program));
    Places places = Places::ofEnvironment();
    places.programsAreExamined = false;
    Places::setOfProcess(places);
    QVERIFY(!errorOf(Firejail(), program));
}

QTEST_GUILESS_MAIN(TestFirejailLookups)
#include "tst_firejail_lookups.moc"

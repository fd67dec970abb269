// Tests what depends on files: the program, the profiles and the permissions.

#include "service/Core/firejail.h"
#include "service/Core/firejail_p.h"
#include "support/collected_findings.h"
#include "support/literals.h"

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
        return {Error::Failed, u"an error and a vector"_s};
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
    sandbox.setProfiles({u"unknown"_s});
    const auto result = sandbox.computeArgv({}, {u"Unknown"_s});
    COMPARE_INVALID(result.second, u"Empty argument list"_s);
    QCOMPARE(result.first, QByteArrayList());
}

void TestFirejailLookups::refusesARelativeProgram_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<bool>("componentTests");
    QTest::newRow("a name") << u"sleep"_s << false;
    QTest::newRow("a name under component tests") << u"sleep"_s << true;
    QTest::newRow("a relative path") << u"bin/true"_s << false;
    QTest::newRow("nothing") << QString() << false;
    QTest::newRow("a blank first") << u" /bin/true"_s << false;
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
    COMPARE_INVALID(errorOf(sandbox, program), program + u" is not an absolute path"_s);
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
    const QString elsewhere = u"Legacy apps must be in: /usr/bin"_s;
    QTest::newRow("in /usr/bin") << u"/usr/bin/true"_s << QString();
    QTest::newRow("in /bin") << u"/bin/true"_s << elsewhere;
    QTest::newRow("below /usr/bin") << u"/usr/bin/x/true"_s << elsewhere;
    QTest::newRow("with two slashes") << u"/usr/bin//true"_s << elsewhere;
    QTest::newRow("beside /usr/bin") << u"/usr/binary"_s << elsewhere;
    QTest::newRow("missing, elsewhere") << u"/nowhere/true"_s << elsewhere;
    QTest::newRow("the directory itself") << u"/usr/bin/"_s << u"/usr/bin/ is not an ELF binary"_s;
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
    QTest::newRow("a file without the permission") << u"plain"_s;
    QTest::newRow("nothing there") << u"missing"_s;
    QTest::newRow("a link to nothing") << u"dangling"_s;
}

void TestFirejailLookups::requiresAnExecutableFile()
{
    QFETCH(QString, name);
    makeFile(path("plain"), "\177ELF and so on");
    QVERIFY(QFile::link(path("nowhere"), path("dangling")));
    const QString program = m_root->filePath(name);
    COMPARE_INVALID(errorOf(Firejail(), program), program + u" is not executable"_s);
}

void TestFirejailLookups::acceptsOnlyAFileAsABinary()
{
    QVERIFY(QDir(m_root->path()).mkdir(u"directory"_s));
    // It has no writer, so opening it would block.
    QCOMPARE(::mkfifo(QFile::encodeName(path("pipe")).constData(), 0777), 0);
    for (const char *name : {"directory", "pipe"}) {
        const QString program = path(name);
        COMPARE_INVALID(errorOf(Firejail(), program), program + u" is not an ELF binary"_s);
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
        COMPARE_INVALID(error, path("program") + u" is not an ELF binary"_s);
}

void TestFirejailLookups::findsTheProgramBelowTheRootDirectory()
{
    Firejail sandbox;
    sandbox.setRootDirectory(m_root->path());
    COMPARE_INVALID(errorOf(sandbox, u"/bin/true"_s), u"/bin/true is not executable"_s);

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
    COMPARE_INVALID(errorOf(sandbox, u"/bin/true"_s), u"/bin/true is not executable"_s);
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
    QVERIFY(QDir(m_root->path()).mkpath(u"usr/bin"_s));
    // On this system the same path leads to a binary.
    QVERIFY(QFile::link(u"/bin/true"_s, path("usr/bin/tool")));
    COMPARE_INVALID(errorOf(sandbox, u"/usr/bin/tool"_s), u"/usr/bin/tool is not executable"_s);
    makeFile(path("bin/true"), "\177ELF", true);
    QCOMPARE(errorOf(sandbox, u"/usr/bin/tool"_s).message(), QString());
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
    COMPARE_INVALID(errorOf(sandbox, path("missing")), path("missing") + u" is not executable"_s);
}

void TestFirejailLookups::findsPermissionsBelowTheRootAndNamesThemWithoutIt()
{
    Firejail sandbox;
    sandbox.setPlaces(Places::below(m_root->path()));
    makeFile(path("bin/true"), "\177ELF", true);
    makeFile(path("var/lib/sailjail/permissions/Audio.permission"), "");
    const auto result = sandbox.computeArgv({"/bin/true"}, {u"Audio"_s});
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
    const auto words = Core::permissionWords({u"Audio"_s, u"Video"_s}, places, collected);
    QCOMPARE(words.size(), 1);
    QCOMPARE(words.constFirst().permission, u"Audio"_s);
    QCOMPARE(words.constFirst().file, path("Audio.permission"));
    QCOMPARE(collected.all.size(), 1);
    QCOMPARE(collected.all.constFirst().rule, u"unknown-permission"_s);
    QCOMPARE(collected.all.constFirst().key, u"Video"_s);
    QCOMPARE(collected.all.constFirst().text, u"Unknown permission \"Video\""_s);
}

void TestFirejailLookups::findsAProfileBelowTheRootDirectory()
{
    FirejailPrivate sandbox;
    sandbox.rootDirectory = m_root->path();
    QCOMPARE(sandbox.profilePath(u"Known"_s), QString());
    makeFile(path("etc/sailjail/permissions/Known.profile"), "");
    QCOMPARE(sandbox.profilePath(u"Known"_s), path("etc/sailjail/permissions/Known.profile"));
}

void TestFirejailLookups::keepsProfilesInOrder()
{
    makeFile(path("bin/true"), "\177ELF", true);
    makeFile(path("etc/sailjail/permissions/B.profile"), "");
    makeFile(path("etc/sailjail/permissions/A.profile"), "");
    Firejail sandbox;
    sandbox.setRootDirectory(m_root->path());
    sandbox.setProfiles({u"B"_s, u"/not/looked/at"_s, u"A"_s, u"B"_s});
    const QByteArray directory = m_root->path().toUtf8() + "/etc/sailjail/permissions/";
    QCOMPARE(sandbox.computeArgv({"/bin/true"}, {}).first.mid(7),
             (QByteArrayList{"--profile=" + directory + "B.profile", "--profile=/not/looked/at",
                             "--profile=" + directory + "A.profile",
                             "--profile=" + directory + "B.profile", "--", "/bin/true"}));
}

void TestFirejailLookups::refusesAnUnknownProfile()
{
    Firejail sandbox;
    sandbox.setProfiles({u"/a/path"_s, u"no-such-profile"_s});
    COMPARE_INVALID(errorOf(sandbox, u"/bin/true"_s), u"Unknown profile no-such-profile"_s);
}

void TestFirejailLookups::leavesOutAnUnknownPermission()
{
    QTest::ignoreMessage(QtWarningMsg, "Unknown permission \"no-such-permission\"");
    QTest::ignoreMessage(QtWarningMsg, "Unknown permission \"\"");
    const auto result = Firejail().computeArgv({"/bin/true"}, {u"no-such-permission"_s, QString()});
    QCOMPARE(result.second.message(), QString());
    QCOMPARE(result.first.mid(6),
             (QByteArrayList{"--blacklist=/usr/share/common/empty", "--", "/bin/true"}));
}

void TestFirejailLookups::keepsKnownPermissionsInOrder()
{
    makeFile(path("Camera.permission"), "");
    makeFile(path("Audio.permission"), "");
    QTest::ignoreMessage(QtWarningMsg, "Unknown permission \"Missing\"");
    const QStringList asked{u"Camera"_s, u"Missing"_s, u"Audio"_s, u"Camera"_s};
    const QByteArray directory = m_root->path().toUtf8();
    QCOMPARE(permissionOptions(asked, {m_root->path() + QLatin1Char('/')}),
             (QByteArrayList{"--profile=" + directory + "/Camera.permission",
                             "--profile=" + directory + "/Audio.permission",
                             "--profile=" + directory + "/Camera.permission"}));
}

void TestFirejailLookups::leavesOutAPermissionThatIsSpecialInAUnit_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("a blank") << u"Audio --noprofile"_s;
    QTest::newRow("a double quote") << u"Au\"dio"_s;
    QTest::newRow("a single quote") << u"Au'dio"_s;
    QTest::newRow("a backslash") << u"Au\\x2fdio"_s;
    QTest::newRow("a dollar") << u"${HOME}"_s;
    QTest::newRow("a percent sign") << u"%n"_s;
}

void TestFirejailLookups::leavesOutAPermissionThatIsSpecialInAUnit()
{
    QFETCH(QString, name);
    makeFile(m_root->filePath(name + QLatin1String(".permission")), "");
    makeFile(path("Audio.permission"), "");
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"^Unknown permission "_s));
    const QString directory = m_root->path() + QLatin1Char('/');
    QCOMPARE(permissionOptions({name, u"Audio"_s}, {directory}),
             QByteArrayList{"--profile=" + directory.toUtf8() + "Audio.permission"});
}

void TestFirejailLookups::prefersTheFirstPermissionDirectory()
{
    const QString first = path("first/");
    const QString second = path("second/");
    const QString name = u"Audio"_s;
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
    QCOMPARE(Core::permissionPath(u"Audio"_s, {m_root->path() + QLatin1Char('/')}), QString());
}

void TestFirejailLookups::usesThePlacesOfTheProcessByDefault()
{
    const QString program = u"/nowhere/program"_s;
    QVERIFY(errorOf(Firejail(), program));
    Places places = Places::ofEnvironment();
    places.programsAreExamined = false;
    Places::setOfProcess(places);
    QVERIFY(!errorOf(Firejail(), program));
}

QTEST_GUILESS_MAIN(TestFirejailLookups)
#include "tst_firejail_lookups.moc"

// Tests the command line of a sandbox, option by option.

#include "service/Core/firejail.h"
#include "support/literals.h"

#include <QtTest>

using Core::Error;
using Core::Firejail;

namespace {

QByteArrayList argvOf(const Firejail &sandbox, const QByteArrayList &arguments = {"/bin/true"},
                      const QStringList &permissions = {})
{
    const auto result = sandbox.computeArgv(arguments, permissions);
    return result.second ? QByteArrayList{result.second.message().toUtf8()} : result.first;
}

void name(Firejail &sandbox, const char *organization, const char *application)
{
    sandbox.setOrganizationName(QString::fromUtf8(organization));
    sandbox.setApplicationName(QString::fromUtf8(application));
}

const QByteArrayList launcher{"/usr/bin/firejail", "--quiet", "--private-bin=true"};

const QByteArrayList closedTrees{"--whitelist=/srv/shared/empty", "--blacklist=/srv/shared/empty",
                                 "--whitelist=/usr/share/common/empty",
                                 "--blacklist=/usr/share/common/empty"};

const QByteArrayList command{"--", "/bin/true"};

const QByteArrayList identity{"--template=OrganizationName:com.example",
                              "--template=ApplicationName:Notes"};

const QByteArrayList applicationHome{"--mkdir=${HOME}/.cache/com.example/Notes",
                                     "--whitelist=${HOME}/.cache/com.example/Notes",
                                     "--mkdir=${HOME}/.local/share/com.example/Notes",
                                     "--whitelist=${HOME}/.local/share/com.example/Notes",
                                     "--mkdir=${HOME}/.config/com.example/Notes",
                                     "--whitelist=${HOME}/.config/com.example/Notes"};

const QByteArrayList organizationHome{"--mkdir=${HOME}/.cache/com.example/common",
                                      "--whitelist=${HOME}/.cache/com.example/common",
                                      "--mkdir=${HOME}/.config/com.example/common",
                                      "--whitelist=${HOME}/.config/com.example/common",
                                      "--mkdir=${HOME}/.local/share/com.example/common",
                                      "--whitelist=${HOME}/.local/share/com.example/common"};

const QByteArrayList organizationShared{"--whitelist=/usr/share/common/com.example",
                                        "--whitelist=/srv/shared/com.example/common"};

const QByteArrayList groupHome{
    "--mkdir=${HOME}/.cache/com.example/team/common",
    "--mkdir=${HOME}/.cache/com.example/common",
    "--whitelist=${HOME}/.cache/com.example/team/common",
    "--bind=${HOME}/.cache/com.example/team/common,${HOME}/.cache/com.example/common",
    "--mkdir=${HOME}/.config/com.example/team/common",
    "--mkdir=${HOME}/.config/com.example/common",
    "--whitelist=${HOME}/.config/com.example/team/common",
    "--bind=${HOME}/.config/com.example/team/common,${HOME}/.config/com.example/common",
    "--mkdir=${HOME}/.local/share/com.example/team/common",
    "--mkdir=${HOME}/.local/share/com.example/common",
    "--whitelist=${HOME}/.local/share/com.example/team/common",
    "--bind=${HOME}/.local/share/com.example/team/common,"
    "${HOME}/.local/share/com.example/common"};

const QByteArrayList groupShared{
    "--bind=/usr/share/common/com.example/team,/usr/share/common/com.example",
    "--bind=/srv/shared/com.example/team/common,/srv/shared/com.example/common",
    "--whitelist=/usr/share/common/com.example/team",
    "--whitelist=/srv/shared/com.example/team/common",
    "--whitelist=/srv/shared/com.example/common"};

} // namespace

class TestFirejail : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { qunsetenv("ORVANE_COMPONENT_TESTS"); }
    void givesTheShortestLineForANamelessProgram();
    void confinesATaskToItsOwnDirectories();
    void givesAHomelessTaskNoHome();
    void letsAProgramOwnItsNamesOnTheUserBus();
    void opensOnlyTheOrganizationWithoutAnApplication();
    void opensNothingOfAnApplicationWithoutAnOrganization();
    void bindsASharingGroup();
    void bindsASharingGroupOfAHomelessProgramOutsideTheHome();
    void bindsASharingGroupWithoutAnApplication();
    void ignoresASharingGroupWithoutAnOrganization();
    void opensTheDirectoriesNamedByADesktopFile_data();
    void opensTheDirectoriesNamedByADesktopFile();
    void ordersAllOptions();
    void listsEveryProgramOnce_data();
    void listsEveryProgramOnce();
    void passesArgumentsAndNamesOnUnchanged();
    void keepsNothingBetweenCalls();
};

void TestFirejail::givesTheShortestLineForANamelessProgram()
{
    QCOMPARE(argvOf(Firejail()), launcher + closedTrees + command);
}

void TestFirejail::confinesATaskToItsOwnDirectories()
{
    Firejail sandbox;
    name(sandbox, "com.example", "Notes");
    sandbox.setDataName(u"com.example.Notes"_s);
    sandbox.setNoUserBus(true);
    const QByteArrayList application{"--dbus-user=none",
                                     "--whitelist=/srv/shared/com.example/Notes",
                                     "--dbus-system.talk=com.example.Notes.*"};
    QCOMPARE(argvOf(sandbox),
             launcher + identity + QByteArrayList{"--whitelist=/usr/share/com.example.Notes"}
                 + applicationHome + application + organizationHome + organizationShared
                 + closedTrees + command);
}

void TestFirejail::givesAHomelessTaskNoHome()
{
    Firejail sandbox;
    name(sandbox, "com.example", "Notes");
    sandbox.setNoUserBus(true);
    sandbox.setHomeless(true);
    sandbox.setDesktopFile(u"/usr/share/applications/notes.desktop"_s);
    const QByteArrayList opened{"--whitelist=/usr/share/applications/notes.desktop",
                                "--dbus-user=none", "--whitelist=/srv/shared/com.example/Notes",
                                "--dbus-system.talk=com.example.Notes.*"};
    QCOMPARE(argvOf(sandbox),
             launcher + identity + opened + organizationShared + closedTrees + command);
}

void TestFirejail::letsAProgramOwnItsNamesOnTheUserBus()
{
    Firejail sandbox;
    name(sandbox, "com.example", "Notes");
    sandbox.setOwnedUserBusName(u"com.example.Other"_s);
    const QByteArrayList application{"--dbus-user.own=com.example.Notes.*",
                                     "--whitelist=/srv/shared/com.example/Notes",
                                     "--dbus-system.talk=com.example.Notes.*"};
    QCOMPARE(argvOf(sandbox),
             launcher + identity + applicationHome + application + organizationHome
                 + organizationShared + closedTrees
                 + QByteArrayList{"--dbus-user.own=com.example.Other"} + command);
}

void TestFirejail::opensOnlyTheOrganizationWithoutAnApplication()
{
    Firejail sandbox;
    name(sandbox, "com.example", "");
    sandbox.setNoUserBus(true);
    QCOMPARE(argvOf(sandbox),
             launcher + QByteArrayList{"--template=OrganizationName:com.example"} + organizationHome
                 + organizationShared + closedTrees + command);
}

void TestFirejail::opensNothingOfAnApplicationWithoutAnOrganization()
{
    Firejail sandbox;
    name(sandbox, "", "Notes");
    QCOMPARE(argvOf(sandbox),
             launcher + QByteArrayList{"--template=ApplicationName:Notes"} + closedTrees + command);
}

void TestFirejail::bindsASharingGroup()
{
    Firejail sandbox;
    name(sandbox, "com.example", "Notes");
    sandbox.setSharingName(u"team"_s);
    sandbox.setNoUserBus(true);
    const QByteArrayList application{"--dbus-user=none",
                                     "--whitelist=/srv/shared/com.example/Notes",
                                     "--dbus-system.talk=com.example.Notes.*"};
    QCOMPARE(argvOf(sandbox),
             launcher + identity + applicationHome + application + groupHome + groupShared
                 + closedTrees + command);
}

void TestFirejail::bindsASharingGroupOfAHomelessProgramOutsideTheHome()
{
    Firejail sandbox;
    name(sandbox, "com.example", "");
    sandbox.setSharingName(u"team"_s);
    sandbox.setHomeless(true);
    QCOMPARE(argvOf(sandbox),
             launcher + QByteArrayList{"--template=OrganizationName:com.example"} + groupShared
                 + closedTrees + command);
}

void TestFirejail::bindsASharingGroupWithoutAnApplication()
{
    Firejail sandbox;
    name(sandbox, "com.example", "");
    sandbox.setSharingName(u"team"_s);
    QCOMPARE(argvOf(sandbox),
             launcher + QByteArrayList{"--template=OrganizationName:com.example"} + groupHome
                 + groupShared + closedTrees + command);
}

void TestFirejail::ignoresASharingGroupWithoutAnOrganization()
{
    Firejail sandbox;
    sandbox.setSharingName(u"team"_s);
    QCOMPARE(argvOf(sandbox), launcher + closedTrees + command);
}

void TestFirejail::opensTheDirectoriesNamedByADesktopFile_data()
{
    QTest::addColumn<QString>("desktopFile");
    QTest::addColumn<bool>("homeless");
    QTest::addColumn<QByteArrayList>("options");

    const QByteArrayList directories{"--whitelist=${HOME}/.local/share/notes",
                                     "--whitelist=${HOME}/.config/notes",
                                     "--whitelist=${HOME}/.cache/notes"};
    QTest::newRow("installed")
        << u"/usr/share/applications/notes.desktop"_s << false
        << QByteArrayList{"--whitelist=/usr/share/applications/notes.desktop"} + directories;
    QTest::newRow("below /etc, where everything can be read")
        << u"/etc/xdg/notes.desktop"_s << false << directories;
    QTest::newRow("beside /etc") << u"/etcetera/notes.desktop"_s << false
                                 << QByteArrayList{"--whitelist=/etcetera/notes.desktop"}
            + directories;
    QTest::newRow("only the last extension is dropped")
        << u"/etc/org.example.notes.desktop"_s << false
        << QByteArrayList{"--whitelist=${HOME}/.local/share/org.example.notes",
                          "--whitelist=${HOME}/.config/org.example.notes",
                          "--whitelist=${HOME}/.cache/org.example.notes"};
    QTest::newRow("homeless") << u"/usr/share/applications/notes.desktop"_s << true
                              << QByteArrayList{
                                     "--whitelist=/usr/share/applications/notes.desktop"};
    QTest::newRow("no base name") << u"/etc/.desktop"_s << false << QByteArrayList();
    QTest::newRow("none") << QString() << false << QByteArrayList();
}

void TestFirejail::opensTheDirectoriesNamedByADesktopFile()
{
    QFETCH(QString, desktopFile);
    QFETCH(bool, homeless);
    QFETCH(QByteArrayList, options);
    Firejail sandbox;
    sandbox.setDesktopFile(desktopFile);
    sandbox.setHomeless(homeless);
    QCOMPARE(argvOf(sandbox), launcher + options + closedTrees + command);
}

void TestFirejail::ordersAllOptions()
{
    Firejail sandbox;
    name(sandbox, "com.example", "Notes");
    sandbox.setProfiles({u"/one.profile"_s, u"/two.profile"_s});
    sandbox.setSharingName(u"team"_s);
    sandbox.setSecondaryExecutable(u"/usr/libexec/helper"_s);
    sandbox.setDesktopFile(u"/usr/share/applications/notes.desktop"_s);
    sandbox.setExtraOptions({u"--seccomp"_s, u"--env=A=ü b"_s});
    sandbox.setKeepFds({3, 4, 12});
    sandbox.setDataName(u"notes-data"_s);
    sandbox.setOwnedUserBusName(u"com.example.Own"_s);
    sandbox.setLegacy(true);
    sandbox.setDebug(true);

    const QByteArrayList head{"/usr/bin/firejail",    "--debug",   "--private-bin=true",
                              "--private-bin=helper", "--seccomp", "--env=A=ü b"};
    const QByteArrayList files{"--keep-fd=3,4,12",
                               "--whitelist=/usr/share/notes-data",
                               "--whitelist=/usr/share/applications/notes.desktop",
                               "--mkdir=${HOME}/.local/share/notes",
                               "--whitelist=${HOME}/.local/share/notes",
                               "--mkdir=${HOME}/.config/notes",
                               "--whitelist=${HOME}/.config/notes",
                               "--mkdir=${HOME}/.cache/notes",
                               "--whitelist=${HOME}/.cache/notes"};
    const QByteArrayList application{"--dbus-user.own=com.example.Notes.*",
                                     "--whitelist=/srv/shared/com.example/Notes",
                                     "--dbus-system.talk=com.example.Notes.*"};
    const QByteArrayList tail{"--dbus-user.own=com.example.Own",
                              "--profile=/one.profile",
                              "--profile=/two.profile",
                              "--",
                              "/usr/bin/true",
                              "-x"};
    QCOMPARE(argvOf(sandbox, {"/usr/bin/true", "-x"}),
             head + identity + files + applicationHome + application + groupHome + groupShared
                 + closedTrees + tail);
}

void TestFirejail::listsEveryProgramOnce_data()
{
    QTest::addColumn<QString>("secondary");
    QTest::addColumn<QByteArrayList>("options");
    const QByteArray first = "--private-bin=true";
    QTest::newRow("no other program") << QString() << QByteArrayList{first};
    QTest::newRow("the same path") << u"/bin/true"_s << QByteArrayList{first};
    QTest::newRow("the same name elsewhere") << u"/usr/libexec/x/true"_s << QByteArrayList{first};
    QTest::newRow("another name") << u"/bin/worker"_s
                                  << QByteArrayList{first, "--private-bin=worker"};
    QTest::newRow("without a directory")
        << u"worker"_s << QByteArrayList{first, "--private-bin=worker"};
}

void TestFirejail::listsEveryProgramOnce()
{
    QFETCH(QString, secondary);
    QFETCH(QByteArrayList, options);
    Firejail sandbox;
    sandbox.setSecondaryExecutable(secondary);
    QCOMPARE(argvOf(sandbox),
             (QByteArrayList{"/usr/bin/firejail", "--quiet"}) + options + closedTrees + command);
}

void TestFirejail::passesArgumentsAndNamesOnUnchanged()
{
    Firejail sandbox;
    name(sandbox, "com.exämple", "Nötes");
    sandbox.setHomeless(true);
    const QByteArrayList arguments{"/bin/true", "", "two words", "\xff\xfe", "--quiet", "--"};
    const QByteArrayList options{
        "--template=OrganizationName:com.exämple",   "--template=ApplicationName:Nötes",
        "--dbus-user.own=com.exämple.Nötes.*",       "--whitelist=/srv/shared/com.exämple/Nötes",
        "--dbus-system.talk=com.exämple.Nötes.*",    "--whitelist=/usr/share/common/com.exämple",
        "--whitelist=/srv/shared/com.exämple/common"};
    QCOMPARE(argvOf(sandbox, arguments),
             launcher + options + closedTrees + QByteArrayList{"--"} + arguments);
}

void TestFirejail::keepsNothingBetweenCalls()
{
    Firejail sandbox;
    sandbox.setKeepFds({-1});
    const QByteArrayList expected =
        launcher + QByteArrayList{"--keep-fd=-1"} + closedTrees + command;
    QCOMPARE(argvOf(sandbox), expected);
    QVERIFY(sandbox.computeArgv({}, {}).second);
    QCOMPARE(argvOf(sandbox), expected);
}

QTEST_GUILESS_MAIN(TestFirejail)
#include "tst_firejail.moc"

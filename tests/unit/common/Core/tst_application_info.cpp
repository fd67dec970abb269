#include "common/Core/application_info.h"
#include "common/Core/findings.h"
#include "common/Core/manifest.h"
#include "common/Core/task_bounds.h"
#include "support/literals.h"
#include "support/odd_file.h"
#include "support/root_places.h"
#include "support/temp_root.h"
#include "unit/common/Core/log_lines.h"

#include <QRegularExpression>
#include <QTest>

#include <sys/stat.h>

using Core::ApplicationInfo;

class TestApplicationInfo : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { root = std::make_unique<TempRoot>(); }

    void isInvalidForAnUnusableFile_data();
    void isInvalidForAnUnusableFile();
    void takesTheIdFromTheEntry();
    void takesTheIdFromTheFileName();
    void takesTheIdFromTheFileNameWhenTheEntrysIsTooLong();
    void complainsWithoutAnyId();
    void readsTheLaunchDescription();
    void comparesSwitchesExactly_data();
    void comparesSwitchesExactly();
    void takesSandboxKeysFromTheFirstGroupThatHasThem();
    void takesTheRootForAServiceWithoutAnObjectPath();
    void readsIntents();
    void readsTasks();
    void readsNothingButTheTasksWhereAskedTo();
    void skipsATaskWithoutANameSilently();
    void letsTheLaterOfTwoTasksWin();
    void refusesBadTaskNames_data();
    void refusesBadTaskNames();
    void readsManifestAndCertificate();
    void survivesAPackageFileThatWouldBeDeserialised();
    void leavesOutWhatOneTaskDeclaresBeyondTheBound_data();
    void leavesOutWhatOneTaskDeclaresBeyondTheBound();
    void leavesOutWhatAllTasksDeclareBeyondTheBound();
    void boundsMimeTypesAndIntents();
    void saysOfAFewBadTaskNamesOnly();
    void sharesItsRecord();

private:
    ApplicationInfo readFile(const QString &path) const
    {
        return {path, placesOf(*root), Core::LoggedFindings::instance()};
    }
    ApplicationInfo read(const QByteArray &main, const QByteArray &groups = {},
                         const QString &file = u"/app.desktop"_s)
    {
        root->write(file,
                    "[Desktop Entry]\nType=Application\nName=App\nExec=/usr/bin/app\n" + main + "\n"
                        + groups);
        return readFile(root->path(file));
    }

    std::unique_ptr<TempRoot> root;
};

namespace {

const char identity[] = "[X-Application]\nOrganizationName=com.example\nApplicationName=Notes\n";

} // namespace

void TestApplicationInfo::isInvalidForAnUnusableFile_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("no main group") << QByteArray("[X-Application]\nName=x\n");
    QTest::newRow("no name") << QByteArray("[Desktop Entry]\nType=Application\n");
    QTest::newRow("no type") << QByteArray("[Desktop Entry]\nName=x\n");
    QTest::newRow("unknown type") << QByteArray("[Desktop Entry]\nType=Other\nName=x\n");
    QTest::newRow("text") << QByteArray("just text\n");
    QTest::newRow("binary") << QByteArray("\x7f"
                                          "ELF\0\0\xff\xfe",
                                          8);
    QTest::newRow("broken below the main group")
        << QByteArray("[Desktop Entry]\nType=Application\nName=x\n[X-Task a]\nno key\n");
}

void TestApplicationInfo::isInvalidForAnUnusableFile()
{
    QFETCH(QByteArray, text);
    root->write(u"/app.desktop"_s, text);
    const LogLines log;
    QVERIFY(!readFile(root->path(u"/app.desktop"_s)).isValid());
    QVERIFY(!readFile(root->path(u"/none.desktop"_s)).isValid());
    QVERIFY(!readFile(root->path()).isValid());
    QVERIFY(!ApplicationInfo().isValid());
    QCOMPARE(log.taken(), QStringList());
}

void TestApplicationInfo::takesTheIdFromTheEntry()
{
    const ApplicationInfo info = read("Icon=notes\nMimeType=text/plain;text/html;\n"
                                      "X-Halcyn-Support-Mime-Parents=true",
                                      identity);
    QVERIFY(info.isValid());
    QCOMPARE(info.applicationId().toString(), u"com.example.Notes"_s);
    QCOMPARE(info.name(), u"App"_s);
    QCOMPARE(info.icon(), u"notes"_s);
    QCOMPARE(info.mimeTypes(), QStringList({u"text/plain"_s, u"text/html"_s}));
    QVERIFY(info.supportsMimeParents());
    QCOMPARE(info.desktopFilePath(), root->path(u"/app.desktop"_s));
}

void TestApplicationInfo::takesTheIdFromTheFileName()
{
    const QByteArray nameOnly = "[X-Application]\nApplicationName=Notes\n";
    const ApplicationInfo info = read({}, nameOnly, u"/my-app.desktop"_s);
    QVERIFY(info.isValid());
    QCOMPARE(info.applicationId().toString(), u"org.zarn.my_2dapp"_s);
    QVERIFY(!info.supportsMimeParents());
}

// Lengths within an id are stored in 16 bits: a longer one would overflow and look like another id.
void TestApplicationInfo::takesTheIdFromTheFileNameWhenTheEntrysIsTooLong()
{
    const ApplicationInfo info =
        read({},
             "[X-Application]\nOrganizationName=" + QByteArray(65536 + 3, 'a')
                 + "\nApplicationName=Notes\n");
    QVERIFY(info.isValid());
    QCOMPARE(info.applicationId().toString(), u"org.zarn.app"_s);
}

void TestApplicationInfo::complainsWithoutAnyId()
{
    const QString path = root->path(u"/app.txt"_s);
    QTest::ignoreMessage(QtWarningMsg, qPrintable(u"Invalid app ID in \"%1\""_s.arg(path)));
    QVERIFY(!read({}, {}, u"/app.txt"_s).isValid());
}

void TestApplicationInfo::readsTheLaunchDescription()
{
    const auto launch = read("X-Maemo-Service=com.example.notes\nX-Maemo-Object-Path=/notes\n"
                             "X-Maemo-Method=com.example.Notes.open\nX-Maemo-Fixed-Args=a b",
                             QByteArray(identity)
                                 + "ExecDBus=/usr/bin/app --bus\n"
                                   "DataDirectory=notes\n")
                            .launchInfo();
    QCOMPARE(launch.exec, u"/usr/bin/app"_s);
    QCOMPARE(launch.execDBus, u"/usr/bin/app --bus"_s);
    QCOMPARE(launch.service, u"com.example.notes"_s);
    QCOMPARE(launch.objectPath, u"/notes"_s);
    QCOMPARE(launch.method, u"com.example.Notes.open"_s);
    QCOMPARE(launch.fixedArgs, u"a b"_s);
    QCOMPARE(launch.dataDirectory, u"notes"_s);
    QVERIFY(launch.sandboxed && launch.singleInstance);
    QVERIFY(!launch.singleCover && !launch.customMode);
}

void TestApplicationInfo::comparesSwitchesExactly_data()
{
    QTest::addColumn<QByteArray>("main");
    QTest::addColumn<QByteArray>("sandbox");
    // Sandboxed, single instance, single cover, custom mode.
    QTest::addColumn<QString>("flags");
    QTest::newRow("nothing") << QByteArray() << QByteArray() << u"11--"_s;
    QTest::newRow("Disabled") << QByteArray() << QByteArray("Sandboxing=Disabled\n") << u"-1--"_s;
    QTest::newRow("disabled") << QByteArray() << QByteArray("Sandboxing=disabled\n") << u"11--"_s;
    QTest::newRow("no") << QByteArray("X-Nemo-Single-Instance=no") << QByteArray() << u"1---"_s;
    QTest::newRow("No") << QByteArray("X-Nemo-Single-Instance=No") << QByteArray() << u"11--"_s;
    QTest::newRow("cover yes") << QByteArray("X-Halcyn-Single-Cover=yes") << QByteArray()
                               << u"111-"_s;
    QTest::newRow("cover Yes") << QByteArray("X-Halcyn-Single-Cover=Yes") << QByteArray()
                               << u"11--"_s;
    QTest::newRow("mode Normal") << QByteArray("Mode=Normal") << QByteArray() << u"11--"_s;
    QTest::newRow("mode normal") << QByteArray("Mode=normal") << QByteArray() << u"11-1"_s;
}

void TestApplicationInfo::comparesSwitchesExactly()
{
    QFETCH(QByteArray, main);
    QFETCH(QByteArray, sandbox);
    QFETCH(QString, flags);
    const auto launch = read(main, identity + sandbox).launchInfo();
    QString actual;
    for (const bool flag :
         {launch.sandboxed, launch.singleInstance, launch.singleCover, launch.customMode})
        actual += QLatin1Char(flag ? '1' : '-');
    QCOMPARE(actual, flags);
}

void TestApplicationInfo::takesSandboxKeysFromTheFirstGroupThatHasThem()
{
    const ApplicationInfo info =
        read({},
             "[Sailjail]\nOrganizationName=third\nExecDBus=third\nDataDirectory=third\n"
             "[X-Sailjail]\nOrganizationName=second\nApplicationName=App\nExecDBus=second\n"
             "[X-Application]\nOrganizationName=first\nExecDBus=\n");
    QCOMPARE(info.applicationId().toString(), u"first.App"_s);
    QCOMPARE(info.launchInfo().execDBus, u"second"_s);
    QCOMPARE(info.launchInfo().dataDirectory, u"third"_s);
}

void TestApplicationInfo::takesTheRootForAServiceWithoutAnObjectPath()
{
    QCOMPARE(read("X-Maemo-Service=a.b").launchInfo().objectPath, u"/"_s);
    QCOMPARE(read("X-Maemo-Method=a.b").launchInfo().objectPath, QString());
}

void TestApplicationInfo::readsIntents()
{
    const auto intents =
        read({},
             QByteArray(identity)
                 + "Intents=Share/image:a|b||c;;Print;Send/a/b:x:y|z:;Print/again\n")
            .intents();
    QCOMPARE(intents.keys(), QStringList({u"Print"_s, u"Send"_s, u"Share"_s}));
    const auto share = intents.value(u"Share"_s);
    QCOMPARE(share.qualifier, u"image"_s);
    QCOMPARE(share.items, QStringList({u"a"_s, u"b"_s, u"c"_s}));
    QCOMPARE(intents.value(u"Print"_s).qualifier, u"again"_s);
    QCOMPARE(intents.value(u"Print"_s).items, QStringList());
    QCOMPARE(intents.value(u"Send"_s).qualifier, u"a"_s);
    QCOMPARE(intents.value(u"Send"_s).items, QStringList({u"x:y"_s, u"z:"_s}));
}

void TestApplicationInfo::readsTasks()
{
    const auto tasks = read({},
                            QByteArray(identity)
                                + "[X-Task sync]\nType=Sync\nExec=/opt/worker  -x\n"
                                  "Permissions=Internet;Documents\nConditions=Charging;\n"
                                  "[X-Service index]\nType=Index\n"
                                  "[X-Task ]\nType=None\n[x-task lower]\nType=None\n")
                           .tasks();
    QCOMPARE(tasks.keys(), QStringList({u"index"_s, u"sync"_s}));
    const auto sync = tasks.value(u"sync"_s);
    QCOMPARE(sync.taskId.toString(), u"com.example.Notes.task_sync"_s);
    QCOMPARE(sync.type, u"Sync"_s);
    QCOMPARE(sync.exec, u"/opt/worker  -x"_s);
    QCOMPARE(sync.permissions, QStringList({u"Internet"_s, u"Documents"_s}));
    QCOMPARE(sync.conditions, QStringList{u"Charging"_s});
    // A task without Exec uses the application's.
    QCOMPARE(tasks.value(u"index"_s).exec, u"/usr/bin/app"_s);
}

void TestApplicationInfo::readsNothingButTheTasksWhereAskedTo()
{
    root->writeApplication(u"Notes"_s, "Intents=Open\n[X-Task sync]\nType=Sync\nExec=/opt/n\n");
    const ApplicationInfo info(root->path(u"/usr/share/applications/Notes.desktop"_s),
                               placesOf(*root), Core::LoggedFindings::instance(),
                               ApplicationInfo::Tasks);
    QVERIFY(info.isValid());
    QCOMPARE(info.applicationId().toString(), u"com.example.Notes"_s);
    QCOMPARE(info.tasks().value(u"sync"_s).exec, u"/opt/n"_s);
    QVERIFY(info.intents().isEmpty());
    QCOMPARE(info.launchInfo().exec, QString());
}

void TestApplicationInfo::skipsATaskWithoutANameSilently()
{
    const LogLines log;
    const ApplicationInfo info = read({}, "[X-Task ]\nType=None\n[X-Service ]\nType=None\n");
    QVERIFY(info.isValid());
    QVERIFY(info.tasks().isEmpty());
    QCOMPARE(log.taken(), QStringList());
}

void TestApplicationInfo::letsTheLaterOfTwoTasksWin()
{
    const auto tasks =
        read({}, "[X-Task sync]\nType=First\n[X-Service sync]\nType=Second\n").tasks();
    QCOMPARE(tasks.size(), 1);
    QCOMPARE(tasks.first().type, u"Second"_s);
}

void TestApplicationInfo::refusesBadTaskNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("valid");
    QTest::newRow("digit first") << u"1sync"_s << false;
    QTest::newRow("hyphen") << u"my-sync"_s << false;
    QTest::newRow("underscore") << u"my_sync"_s << false;
    QTest::newRow("letter of another script") << u"s\u00ffnc"_s << false;
    QTest::newRow("digit of another script") << u"s\u0663"_s << false;
    QTest::newRow("65 characters") << QString(65, QLatin1Char('a')) << false;
    QTest::newRow("64 characters") << QString(64, QLatin1Char('a')) << true;
    QTest::newRow("digits later") << u"sync2"_s << true;
}

void TestApplicationInfo::refusesBadTaskNames()
{
    QFETCH(QString, name);
    QFETCH(bool, valid);
    if (!valid)
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(u"^Invalid task name: \"%1\"$"_s.arg(name)));
    const ApplicationInfo info = read({}, "[X-Task " + name.toUtf8() + "]\nType=Sync\n");
    QVERIFY(info.isValid());
    QCOMPARE(info.tasks().contains(name), valid);
}

void TestApplicationInfo::readsManifestAndCertificate()
{
    QCOMPARE(read({}, identity).certificateId(), QString());
    QVERIFY(!read({}, identity).manifest().isValid());
    const QString package = u"/opt/app/com.example.Notes/current/"_s;
    root->write(package + u"halcyn.pkg"_s, "[other]\nid=no\n[certificate]\nid=abc123\n");
    root->write(package + u"manifest.json"_s, "{}");
    QCOMPARE(read({}, identity).certificateId(), u"abc123"_s);
    // A pipe instead of the file must not block.
    root->remove(package + u"halcyn.pkg"_s);
    QCOMPARE(mkfifo(qPrintable(root->path(package + u"halcyn.pkg"_s)), 0600), 0);
    QCOMPARE(read({}, identity).certificateId(), QString());
    QVERIFY(read({}, identity).manifest().isValid());
}

void TestApplicationInfo::survivesAPackageFileThatWouldBeDeserialised()
{
    root->write(u"/opt/app/com.example.Notes/current/halcyn.pkg"_s,
                "[certificate]\nid=" + OddFile::fatalValue() + "\n");
    const ApplicationInfo info = read({}, identity);
    QVERIFY(info.isValid());
    QVERIFY(info.certificateId().startsWith(QLatin1String("@Variant(")));
}

void TestApplicationInfo::leavesOutWhatOneTaskDeclaresBeyondTheBound_data()
{
    QTest::addColumn<QByteArray>("main");
    QTest::addColumn<QByteArray>("task");
    QTest::addColumn<bool>("isKept");
    const QByteArray large(Core::largestTask, 'x');
    const QByteArray fitting(Core::largestTask - 1000, 'x');
    QTest::newRow("a command line") << QByteArray() << "Exec=/bin/a " + large << false;
    QTest::newRow("a command line that fits") << QByteArray() << "Exec=/bin/a " + fitting << true;
    QTest::newRow("the application's command line")
        << "Exec=/bin/a " + large << QByteArray() << false;
    QTest::newRow("a type") << QByteArray() << "Type=" + large << false;
    QTest::newRow("permissions") << QByteArray()
                                 << "Permissions=" + QByteArray("ab;").repeated(2000) << false;
    QTest::newRow("permissions that fit")
        << QByteArray() << "Permissions=" + QByteArray("ab;").repeated(1000) << true;
    QTest::newRow("permissions without a name")
        << QByteArray() << "Permissions=" + QByteArray(";").repeated(1 << 19) << false;
    QTest::newRow("conditions") << QByteArray() << "Conditions=" + QByteArray("ab;").repeated(2000)
                                << false;
    QTest::newRow("letters that take more bytes")
        << QByteArray() << "Type=" + QByteArray("\xe2\x82\xac").repeated(6000) << false;
}

void TestApplicationInfo::leavesOutWhatOneTaskDeclaresBeyondTheBound()
{
    QFETCH(QByteArray, main);
    QFETCH(QByteArray, task);
    QFETCH(bool, isKept);
    const LogLines log;
    const ApplicationInfo info = read(main,
                                      identity + QByteArray("[X-Task odd]\n") + task
                                          + "\n[X-Task other]\nType=Sync\nExec=/bin/b\n");
    QVERIFY(info.isValid());
    QVERIFY(info.tasks().contains(u"other"_s));
    QCOMPARE(info.tasks().contains(u"odd"_s), isKept);
    const QStringList lines = log.taken();
    QCOMPARE(lines.size(), isKept ? 0 : 1);
    QVERIFY(isKept || lines.first().contains(QLatin1String("com.example.Notes.task_odd")));
}

void TestApplicationInfo::leavesOutWhatAllTasksDeclareBeyondTheBound()
{
    QByteArray tasks;
    for (int i = 0; i < 60; ++i)
        tasks +=
            "[X-Task t" + QByteArray::number(10 + i) + "]\nType=" + QByteArray(10000, 'x') + "\n";
    const LogLines log;
    const ApplicationInfo info = read({}, identity + tasks);
    QVERIFY(info.isValid());
    int sum = 0;
    for (const auto &task : info.tasks())
        sum += Core::sizeOf(task);
    QVERIFY(sum <= Core::largestTasksOfApplication);
    QVERIFY(sum > Core::largestTasksOfApplication - Core::largestTask);
    QVERIFY(info.tasks().contains(u"t10"_s));
    QCOMPARE(log.taken().size(), 1);
    QVERIFY(log.taken().first().contains(QLatin1String("com.example.Notes.task_t")));
}

void TestApplicationInfo::boundsMimeTypesAndIntents()
{
    const LogLines log;
    QByteArray types = QByteArray(2000, 'x') + ';';
    for (int i = 0; i < 5000; ++i)
        types += "a/" + QByteArray::number(i) + ';';
    const ApplicationInfo info =
        read("MimeType=" + types,
             identity + QByteArray("Intents=") + QByteArray("a;").repeated(40000) + "\n");
    QVERIFY(info.isValid());
    QCOMPARE(info.mimeTypes().size(), 1024);
    QCOMPARE(info.mimeTypes().constFirst(), u"a/0"_s);
    QVERIFY(info.intents().isEmpty());
    QCOMPARE(log.taken().size(), 2);
}

void TestApplicationInfo::saysOfAFewBadTaskNamesOnly()
{
    const LogLines log;
    QVERIFY(read({}, QByteArray("[X-Task a-") + QByteArray(100000, 'b') + "]\nx=y\n").isValid());
    QCOMPARE(log.taken().size(), 1);
    QVERIFY(log.taken().constFirst().size() < 300);
    QByteArray groups;
    for (int i = 0; i < 50000; ++i)
        groups += "[X-Task -" + QByteArray::number(i) + "]\n";
    QVERIFY(read({}, groups).isValid());
    QVERIFY(log.taken().size() < 100);
}

void TestApplicationInfo::sharesItsRecord()
{
    const ApplicationInfo *original = new ApplicationInfo(read({}, identity));
    const ApplicationInfo copy = *original;
    const QString &name = copy.name();
    QCOMPARE(&original->name(), &name);
    delete original;
    QCOMPARE(name, u"App"_s);
}

QTEST_GUILESS_MAIN(TestApplicationInfo)
#include "tst_application_info.moc"

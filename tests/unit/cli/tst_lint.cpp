#include "cli/accounts.h"
#include "cli/lint/entry_text.h"
#include "cli/lint/linter.h"
#include "cli/lint/near_word.h"
#include "cli/lint/rules.h"
#include "cli/tool.h"
#include "support/literals.h"
#include "support/temp_root.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QSet>
#include <QTest>

#include <cstdio>
#include <functional>
#include <pty.h>
#include <sys/inotify.h>
#include <thread>
#include <unistd.h>

namespace {

QString sourceFolder() { return QStringLiteral(SOURCE_FOLDER "/"); }

QString samplesFolder() { return sourceFolder() + u"tests/data/lint/"_s; }

QStringList samples()
{
    return QDir(samplesFolder()).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// "rule file:line" for each finding; files are named relative to a folder.
QStringList linesOf(const Cli::Collected &findings, const QString &folder)
{
    QStringList lines;
    for (const Core::Finding &finding : findings.sorted())
        lines.append(u"%1 %2:%3"_s.arg(finding.rule, QDir(folder).relativeFilePath(finding.file))
                         .arg(finding.line));
    return lines;
}

QStringList rulesIn(const Cli::Collected &findings)
{
    QStringList rules;
    for (const Core::Finding &finding : findings.sorted())
        rules.append(finding.rule);
    return rules;
}

QByteArray entryOf(const QByteArray &tasks, const QByteArray &mainKeys = {},
                   const QByteArray &sandboxKeys = {})
{
    return "[Desktop Entry]\nType=Application\nName=Notes\n" + mainKeys
        + "[X-Application]\nOrganizationName=com.example\nApplicationName=Notes\n" + sandboxKeys
        + tasks;
}

QString entryPath() { return u"/usr/share/applications/notes.desktop"_s; }

QByteArray taskOf(const QByteArray &name, const QByteArray &arguments)
{
    return "[X-Task " + name + "]\nType=Sync\nExec=/bin/true " + arguments + "\n";
}

// Samples that are too large for the source tree.
QMap<QString, std::function<void(const TempRoot &)>> largeSamples()
{
    const auto settings = u"/etc/am/conf.d/"_s;
    return {
        {u"entry-too-large"_s,
         [](const TempRoot &root) { root.write(entryPath(), QByteArray((1 << 20) + 1, '#')); }},
        {u"intents-size"_s,
         [](const TempRoot &root) {
             root.write(entryPath(),
                        entryOf({}, {}, "Intents=" + QByteArray((64 << 10) + 1, 'a') + '\n'));
         }},
        {u"mime-types-size"_s,
         [](const TempRoot &root) {
             root.write(entryPath(), entryOf({}, "MimeType=" + QByteArray(1025, 'a') + ";\n"));
         }},
        {u"task-size"_s,
         [](const TempRoot &root) {
             root.write(entryPath(), entryOf(taskOf("sync", QByteArray(17 << 10, 'a'))));
         }},
        {u"tasks-size"_s,
         [](const TempRoot &root) {
             QByteArray tasks;
             for (int number = 0; number < 20; ++number)
                 tasks += taskOf('a' + QByteArray::number(number), QByteArray(15 << 10, 'a'));
             root.write(entryPath(), entryOf(tasks));
         }},
        {u"task-list-size"_s,
         [](const TempRoot &root) {
             QByteArray tasks;
             for (int number = 0; number < 15; ++number)
                 tasks += taskOf('a' + QByteArray::number(number), QByteArray(15 << 10, 'a'));
             for (int number = 0; number < 40; ++number)
                 root.write(
                     u"/usr/share/applications/a%1.desktop"_s.arg(number),
                     entryOf(tasks).replace("=Notes", "=Notes" + QByteArray::number(number)));
         }},
        {u"task-type-unreadable"_s,
         [](const TempRoot &root) {
             root.write(u"/usr/share/orvane/task-types/Sync.conf"_s,
                        QByteArray((1 << 20) + 1, '#'));
         }},
        {u"autostart-unreadable"_s,
         [settings](const TempRoot &root) {
             root.write(settings + u"a.conf"_s, QByteArray((1 << 20) + 1, '#'));
         }},
        {u"autostart-size"_s,
         [settings](const TempRoot &root) {
             for (int number = 0; number < 5; ++number)
                 root.write(settings + u"%1.conf"_s.arg(number), QByteArray(1 << 20, '#'));
         }},
    };
}

// The first applies to a file that is hidden in folders, which is tested below; the others are only
// reported at a start.
QStringList rulesWithoutSample()
{
    return {u"entry-id"_s, u"unknown-permission"_s, u"refused-by-sandbox"_s};
}

QRegularExpression colours() { return QRegularExpression(u"\x1b\\[[0-9;]*m"_s); }

// The output on a terminal with this number of columns.
QByteArray onTerminal(ushort width, const std::function<void()> &print)
{
    const winsize size{500, width, 0, 0};
    int master = -1;
    int terminal = -1;
    if (openpty(&master, &terminal, nullptr, nullptr, &size) != 0)
        return {};
    QByteArray text;
    std::thread reader([&text, master] {
        char piece[4096];
        for (ssize_t count = 0; (count = read(master, piece, sizeof piece)) > 0;)
            text.append(piece, static_cast<int>(count));
    });
    fflush(stdout);
    const int before = dup(STDOUT_FILENO);
    dup2(terminal, STDOUT_FILENO);
    print();
    fflush(stdout);
    dup2(before, STDOUT_FILENO);
    close(before);
    // Closing the last writer ends the reader.
    close(terminal);
    reader.join();
    close(master);
    return text;
}

} // namespace

class TestLint : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void findsWhatIsWrongInASample_data();
    void findsWhatIsWrongInASample();
    void findsWhatIsTooLarge_data();
    void findsWhatIsTooLarge();
    void findsAnEntryThatHasNoId();
    void reportsWhatAStartWouldRefuse_data();
    void reportsWhatAStartWouldRefuse();
    void placesARefusalAtWhatIsRefused_data();
    void placesARefusalAtWhatIsRefused();
    void ignoresWhatOtherProgramsRead_data();
    void ignoresWhatOtherProgramsRead();
    void knowsMisspeltKeysOfTheMainGroup_data();
    void knowsMisspeltKeysOfTheMainGroup();
    void knowsWhichProgramsTheSandboxHides_data();
    void knowsWhichProgramsTheSandboxHides();
    void knowsWhichArgumentsTheSandboxHides();
    void knowsMisspeltGroups_data();
    void knowsMisspeltGroups();
    void findsTheFirstLineThatIsNotUtf8_data();
    void findsTheFirstLineThatIsNotUtf8();
    void followsTheLinksOfATree();
    void givesTheLineInALinkedEntryOfATree();
    void readsEachEntryOnce();
    void knowsWhatSystemdExpands_data();
    void knowsWhatSystemdExpands();
    void reportsAFolderAsAProgram();
    void readsEveryKindOfFileInAFolder();
    void knowsWhichUsersMayExist();
    void wrapsItsLinesAtTheTerminalsWidth_data();
    void wrapsItsLinesAtTheTerminalsWidth();
    void exitsWithOneWhenSomethingIsWrong_data();
    void exitsWithOneWhenSomethingIsWrong();
    void hasASampleForEachRule();
    void hasAdviceForEachRule();
    void listsEveryRuleInTheSource();
    void findsNothingInWhatIsRight();
    void findsTheSameInAFileAsInItsTree();
    void findsNothingToReadInOtherFiles();
    void knowsWhichWordWasMeant_data();
    void knowsWhichWordWasMeant();
};

void TestLint::findsWhatIsWrongInASample_data()
{
    QTest::addColumn<QString>("folder");
    for (const QString &sample : samples())
        QTest::newRow(qPrintable(sample)) << samplesFolder() + sample;
}

void TestLint::findsWhatIsWrongInASample()
{
    QFETCH(QString, folder);
    Cli::Collected findings;
    QVERIFY(Cli::lintPath(folder, Places::below({}), findings));
    const QString expected = QString::fromUtf8(contentOf(folder + u"/expected"_s)).trimmed();
    QVERIFY(expected.contains(QString::fromLatin1(QTest::currentDataTag()) + QLatin1Char(' ')));
    QCOMPARE(linesOf(findings, folder).join(QLatin1Char('\n')), expected);
}

void TestLint::findsWhatIsTooLarge_data()
{
    QTest::addColumn<QString>("rule");
    const auto large = largeSamples();
    for (auto sample = large.begin(); sample != large.end(); ++sample)
        QTest::newRow(qPrintable(sample.key())) << sample.key();
}

void TestLint::findsWhatIsTooLarge()
{
    QFETCH(QString, rule);
    const TempRoot root;
    largeSamples().value(rule)(root);
    Cli::Collected findings;
    QVERIFY(Cli::lintPath(root.path(), Places::below({}), findings));
    QVERIFY2(rulesIn(findings).contains(rule),
             qPrintable(rulesIn(findings).mid(0, 9).join(QLatin1Char(' '))));
}

void TestLint::findsAnEntryThatHasNoId()
{
    const TempRoot root;
    const QString path = u"/usr/share/applications/.desktop"_s;
    root.write(path, "[Desktop Entry]\nType=Application\nName=Notes\n");
    Cli::Collected findings;
    QVERIFY(Cli::lintPath(root.path(path), Places::below({}), findings));
    QCOMPARE(rulesIn(findings), QStringList(u"entry-id"_s));
}

void TestLint::reportsWhatAStartWouldRefuse_data()
{
    QTest::addColumn<QByteArray>("exec");
    QTest::addColumn<QString>("text");
    const QString program = u"Exec must not name a program with any of \" ' \\ $ % , * ? [ ] { }"_s;
    QTest::newRow("a lone semicolon")
        << QByteArray("/bin/true ; /bin/false") << u"Exec must not hold a separate semicolon"_s;
    QTest::newRow("a closing backslash")
        << QByteArray("/bin/true \\\\") << u"Exec must not end with a backslash"_s;
    QTest::newRow("a quoted program") << QByteArray("\"/bin/true\" x") << program;
    QTest::newRow("a program with a sign that is expanded") << QByteArray("/bin/%n x") << program;
    QTest::newRow("a control character")
        << QByteArray("/bin/true a\\nb") << u"Exec must not hold control characters"_s;
}

void TestLint::reportsWhatAStartWouldRefuse()
{
    QFETCH(QByteArray, exec);
    QFETCH(QString, text);
    const TempRoot root;
    root.write(u"/usr/share/orvane/task-types/Sync.conf"_s, "[TaskType]\n");
    root.write(entryPath(), entryOf(taskOf("sync", {}).replace("/bin/true ", exec)));
    Cli::Collected findings;
    QVERIFY(Cli::lintPath(root.path(), Places::below({}), findings));
    QCOMPARE(rulesIn(findings), QStringList(u"declaration-refused"_s));
    QCOMPARE(findings.sorted().constFirst().text, text);
}

void TestLint::placesARefusalAtWhatIsRefused_data()
{
    QTest::addColumn<QByteArray>("organisation");
    QTest::addColumn<QByteArray>("exec");
    QTest::addColumn<QStringList>("places");
    const QString id = u"OrganizationName 5"_s;
    const QString exec = u"Exec 9"_s;
    QTest::newRow("the id") << QByteArray("org.freedesktop") << QByteArray("/bin/true")
                            << QStringList{id};
    QTest::newRow("the command line")
        << QByteArray("com.example") << QByteArray("/bin/true ; x") << QStringList{exec};
    QTest::newRow("both") << QByteArray("org.freedesktop") << QByteArray("/bin/true ; x")
                          << QStringList{id, exec};
}

void TestLint::placesARefusalAtWhatIsRefused()
{
    QFETCH(QByteArray, organisation);
    QFETCH(QByteArray, exec);
    QFETCH(QStringList, places);
    const TempRoot root;
    root.write(u"/usr/share/orvane/task-types/Sync.conf"_s, "[TaskType]\n");
    root.write(entryPath(),
               entryOf(taskOf("sync", {}).replace("/bin/true ", exec))
                   .replace("com.example", organisation));
    Cli::Collected findings;
    QVERIFY(Cli::lintPath(root.path(), Places::below({}), findings));
    QStringList found;
    for (const Core::Finding &finding : findings.sorted()) {
        QCOMPARE(finding.rule, u"declaration-refused"_s);
        found.append(u"%1 %2"_s.arg(finding.key).arg(finding.line));
    }
    QCOMPARE(found, places);
}

void TestLint::ignoresWhatOtherProgramsRead_data()
{
    QTest::addColumn<QByteArray>("groups");
    QTest::newRow("a group whose name begins alike") << QByteArray("[X-TaskList]\nExec=/bin/a\n");
    QTest::newRow("another one") << QByteArray("[X-ServiceMenu Pack]\nExec=pack %F\n");
    QTest::newRow("actions") << QByteArray("[Desktop Action New]\nName=New\nExec=\"a b\" %U\n");
    QTest::newRow("keys of others in a sandbox's group")
        << QByteArray("[Sailjail]\nProfile=a\nX-Permission=b\n");
    QTest::newRow("translated keys in a task's group")
        << QByteArray("[X-Task a]\nType=Sync\nExec=/bin/true\nX-Name[de]=A\nName[de]=A\n");
}

void TestLint::ignoresWhatOtherProgramsRead()
{
    QFETCH(QByteArray, groups);
    const TempRoot root;
    root.write(u"/usr/share/orvane/task-types/Sync.conf"_s, "[TaskType]\n");
    root.write(entryPath(), entryOf(groups, "Exec=\"two words\" %U\nDBusActivatable=true\n"));
    Cli::Collected findings;
    QVERIFY(Cli::lintPath(root.path(), Places::below({}), findings));
    QCOMPARE(linesOf(findings, root.path()), QStringList());
}

void TestLint::knowsMisspeltKeysOfTheMainGroup_data()
{
    QTest::addColumn<QByteArray>("key");
    QTest::addColumn<bool>("isMisspelt");
    for (const char *key : {"MimeTypes", "mimetype", "Exce", "exec", "X-Nemo-SingleInstance"})
        QTest::newRow(key) << QByteArray(key) << true;
    for (const char *key : {"Path", "Version", "Terminal", "Note", "X-KDE-Protocols", "Exec[de]"})
        QTest::newRow(key) << QByteArray(key) << false;
}

void TestLint::knowsMisspeltKeysOfTheMainGroup()
{
    QFETCH(QByteArray, key);
    QFETCH(bool, isMisspelt);
    const TempRoot root;
    root.write(entryPath(), entryOf({}, key + "=yes\n"));
    Cli::Collected findings;
    QVERIFY(Cli::lintPath(root.path(), Places::below({}), findings));
    QCOMPARE(rulesIn(findings), isMisspelt ? QStringList(u"unknown-key"_s) : QStringList());
}

void TestLint::knowsWhichProgramsTheSandboxHides_data()
{
    QTest::addColumn<bool>("isHidden");
    for (const char *path :
         {"/home/me/worker", "/home/me/bin/worker", "/root/worker",
          "/home/me/.local/share/com.example/Other/worker", "/opt/../home/me/worker", "/srv/worker",
          "/srv/shared/worker", "/usr/share/notes/worker"})
        QTest::newRow(path) << true;
    for (const char *path :
         {"/opt/home/worker", "/homestead/me/worker", "/usr/libexec/worker",
          "/home/me/.local/share/com.example/Notes/worker",
          "/home/me/.cache/com.example/common/worker", "/srv/shared/com.example/Notes/worker",
          "/usr/share/com.example.Notes/worker", "/usr/lib/notes/worker"})
        QTest::newRow(path) << false;
}

void TestLint::knowsWhichProgramsTheSandboxHides()
{
    QFETCH(bool, isHidden);
    const TempRoot root;
    const QByteArray path = QTest::currentDataTag();
    root.write(entryPath(), entryOf("[X-Task sync]\nType=Sync\nExec=" + path + '\n'));
    Cli::Collected findings;
    QVERIFY(Cli::lintPath(root.path(), Places::below({}), findings));
    QCOMPARE(rulesIn(findings).contains(u"exec-hidden"_s), isHidden);
}

void TestLint::knowsWhichArgumentsTheSandboxHides()
{
    const TempRoot root;
    root.write(u"/usr/share/notes/run.pl"_s, "print 1;\n");
    root.write(u"/usr/libexec/notes/run.pl"_s, "print 1;\n");
    const auto finds = [&root](const QByteArray &arguments) {
        root.write(entryPath(),
                   entryOf("[X-Task sync]\nType=Sync\nExec=/usr/bin/perl " + arguments + '\n'));
        Cli::Collected findings;
        Cli::lintSystem(Places::below(root.path()), findings);
        return rulesIn(findings).contains(u"exec-hidden"_s);
    };
    QVERIFY(finds("/usr/share/notes/run.pl"));
    QVERIFY(finds("-w /usr/share/notes/run.pl"));
    QVERIFY(!finds("/usr/libexec/notes/run.pl"));
    QVERIFY(!finds("/usr/share/notes/none.pl"));
    QVERIFY(!finds("usr/share/notes/run.pl"));
}

void TestLint::knowsMisspeltGroups_data()
{
    QTest::addColumn<QByteArray>("group");
    QTest::addColumn<QString>("says");
    const auto row = [](const char *group, const char *says) {
        QTest::newRow(group) << QByteArray(group) << QString::fromLatin1(says);
    };
    row("X-Tsak doze", "[X-Tsak doze] is ignored; did you mean [X-Task doze]?");
    row("X-Tasks doze", "[X-Tasks doze] is ignored; did you mean [X-Task doze]?");
    row("x-taks doze", "[x-taks doze] is ignored; did you mean [X-Task doze]?");
    row("Task doze", "[Task doze] is ignored; did you mean [X-Task doze]?");
    row("X-Sevrice doze", "[X-Sevrice doze] is ignored; did you mean [X-Service doze]?");
    row("X-Aplication", "[X-Aplication] is ignored; did you mean [X-Application]?");
    row("X-Salijail", "[X-Salijail] is ignored; did you mean [X-Sailjail]?");
    row("X-Task:doze", "[X-Task:doze] declares no task");
    row("X-Test doze", "");
    row("X-Tool doze", "");
    row("X-Tsak", "");
    row("Desktop Action doze", "");
    row("NewWindow Shortcut Group", "");
}

void TestLint::knowsMisspeltGroups()
{
    QFETCH(QByteArray, group);
    QFETCH(QString, says);
    const TempRoot root;
    root.write(entryPath(), entryOf('[' + group + "]\nName=A\n"));
    Cli::Collected findings;
    QVERIFY(Cli::lintPath(root.path(), Places::below({}), findings));
    QString said;
    for (const Core::Finding &finding : findings.sorted()) {
        if (finding.rule == u"unknown-group"_s)
            said += finding.text;
    }
    QCOMPARE(said, says);
}

void TestLint::findsTheFirstLineThatIsNotUtf8_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<int>("line");
    QTest::newRow("nothing") << QByteArray() << 0;
    QTest::newRow("every length") << QByteArray("a\xc3\xbc\xe2\x82\xac\xf0\x9f\x98\x80z") << 0;
    QTest::newRow("the least and the most of each")
        << QByteArray("\xc2\x80\xdf\xbf\xe0\xa0\x80\xed\x9f\xbf\xee\x80\x80"
                      "\xf0\x90\x80\x80\xf4\x8f\xbf\xbf")
        << 0;
    QTest::newRow("another encoding") << QByteArray("a line\n\nna\xefve") << 3;
    QTest::newRow("after many bytes") << QByteArray(1000, 'a') + "\n\xff" << 2;
    QTest::newRow("a character that ends too early") << QByteArray("\xe2\x82") << 1;
    QTest::newRow("a character that a line ends") << QByteArray("\xc3\n") << 1;
    QTest::newRow("a byte that only continues") << QByteArray("a\x80") << 1;
    QTest::newRow("more bytes than are needed") << QByteArray("\xc0\xaf") << 1;
    QTest::newRow("three bytes where two do") << QByteArray("\xe0\x9f\xbf") << 1;
    QTest::newRow("four bytes where three do") << QByteArray("\xf0\x8f\xbf\xbf") << 1;
    QTest::newRow("half a surrogate pair") << QByteArray("\xed\xa0\x80") << 1;
    QTest::newRow("beyond Unicode") << QByteArray("\xf4\x90\x80\x80") << 1;
}

void TestLint::findsTheFirstLineThatIsNotUtf8()
{
    QFETCH(QByteArray, text);
    QFETCH(int, line);
    QCOMPARE(Cli::firstLineOfOtherBytes(text), line);
}

void TestLint::followsTheLinksOfATree()
{
    const TempRoot root;
    root.write(u"/usr/share/orvane/task-types/Sync.conf"_s, "[TaskType]\n");
    root.write(u"/usr/libexec/one"_s, "#!/bin/sh\n");
    root.write(u"/usr/bin/keep"_s, {});
    // Absolute links: on this system they lead elsewhere.
    QVERIFY(QFile::link(u"/usr/libexec/one"_s, root.path(u"/usr/bin/tst-lint-link"_s)));
    QVERIFY(QFile::link(u"/usr/libexec"_s, root.path(u"/lib-of-a"_s)));
    root.write(entryPath(),
               entryOf("[X-Task a]\nType=Sync\nExec=/usr/bin/tst-lint-link\n"
                       "[X-Task b]\nType=Sync\nExec=/lib-of-a/one\n"
                       "[X-Task c]\nType=Sync\nExec=/usr/bin/../libexec/one\n"
                       "[X-Task d]\nType=Sync\nExec=/lib-of-a/two\n"));
    Cli::Collected findings;
    QVERIFY(Cli::lintPath(root.path(), Places::below({}), findings));
    const QString notExecutable = u"exec-not-executable"_s;
    QCOMPARE(rulesIn(findings),
             QStringList({notExecutable, notExecutable, notExecutable, u"exec-not-there"_s}));
}

void TestLint::givesTheLineInALinkedEntryOfATree()
{
    const TempRoot root;
    root.write(u"/opt/notes.desktop"_s, entryOf("[X-Task sync]\nType=no type\nExec=/bin/true\n"));
    root.write(u"/usr/share/applications/keep"_s, {});
    // On this system the link is broken.
    QVERIFY(QFile::link(u"/opt/notes.desktop"_s, root.path(entryPath())));
    Cli::Collected findings;
    QVERIFY(Cli::lintPath(root.path(), Places::below({}), findings));
    QCOMPARE(linesOf(findings, root.path()),
             QStringList{u"type-object-path usr/share/applications/notes.desktop:8"_s});
}

// Only with the stand-in, which reads files in the same way as the linter.
void TestLint::readsEachEntryOnce()
{
    const TempRoot root;
    root.write(entryPath(), entryOf("[X-Task sync]\nType=Sync\nExec=/bin/true\n"));
    root.write(u"/usr/share/orvane/task-types/Sync.conf"_s, "[TaskType]\n");
    const QString program = u"/bin/true"_s;
    root.write(program, "\177ELF");
    QVERIFY(QFile::setPermissions(root.path(program), QFile::ReadOwner | QFile::ExeOwner));
    const int watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    const QByteArray entry = QFile::encodeName(root.path(entryPath()));
    QVERIFY(inotify_add_watch(watch, entry.constData(), IN_OPEN | IN_CLOSE) >= 0);
    Cli::Collected findings;
    Cli::lintSystem(Places::below(root.path()), findings);
    QVERIFY(findings.sorted().isEmpty());
    // An event of a file has no name, so it has this size. The kernel merges equal events in a row,
    // but there is an IN_CLOSE between two IN_OPEN.
    inotify_event event = {};
    int opened = 0;
    while (::read(watch, &event, sizeof event) == sizeof event)
        opened += (event.mask & IN_OPEN) != 0 ? 1 : 0;
    ::close(watch);
    QCOMPARE(opened, 1);
}

void TestLint::knowsWhatSystemdExpands_data()
{
    QTest::addColumn<QByteArray>("argument");
    QTest::addColumn<bool>("isExpanded");
    for (const char *argument : {"100%", "%h", "$HOME", "$", "$5", "${HOME}", "a${HOME}b",
                                 "a$$${HOME}", "%%%n", "\"$HOME\""})
        QTest::newRow(argument) << QByteArray(argument) << true;
    for (const char *argument : {"a$", "a$b", "5$-", "a$HOME", "--price=5$", "$$HOME", "a$${HOME}",
                                 "$$$HOME", "ok%%", "x"})
        QTest::newRow(argument) << QByteArray(argument) << false;
}

// systemd expands a variable without braces only as a word of its own.
void TestLint::knowsWhatSystemdExpands()
{
    QFETCH(QByteArray, argument);
    QFETCH(bool, isExpanded);
    const TempRoot root;
    root.write(u"/usr/share/orvane/task-types/Sync.conf"_s, "[TaskType]\n");
    root.write(entryPath(), entryOf(taskOf("sync", argument)));
    Cli::Collected findings;
    QVERIFY(Cli::lintPath(root.path(), Places::below({}), findings));
    QCOMPARE(rulesIn(findings).contains(u"exec-expansion"_s), isExpanded);
}

void TestLint::reportsAFolderAsAProgram()
{
    const TempRoot root;
    root.write(u"/usr/share/orvane/task-types/Sync.conf"_s, "[TaskType]\n");
    root.write(u"/opt/notes/a"_s, {});
    root.write(entryPath(), entryOf("[X-Task sync]\nType=Sync\nExec=/opt/notes\n"));
    Cli::Collected findings;
    QVERIFY(Cli::lintPath(root.path(), Places::below({}), findings));
    QCOMPARE(rulesIn(findings), QStringList(u"exec-directory"_s));
    QCOMPARE(findings.sorted().constFirst().text, u"/opt/notes is a directory"_s);
}

void TestLint::readsEveryKindOfFileInAFolder()
{
    const TempRoot root;
    const auto write = [&root](const char *path, const QByteArray &text) {
        root.write(QLatin1String(path), text);
    };
    write("/source/notes.desktop", entryOf("[X-Task sync]\nType=no type\nExec=/bin/true\n"));
    write("/source/more/b.desktop", "[Desktop Entry]\nType=Application\n");
    write("/source/task-types/Sync.conf", "[TaskType]\nWorksInSession=perhaps\n");
    write("/source/50%.permission", "netfilter\n");
    write("/source/autostart.conf", "[com.example.Notes]\nautostart=perhaps\n");
    // Belongs to another program.
    write("/source/logging.conf", "[output]\nlevel=3\n");
    Cli::Collected findings;
    QVERIFY(Cli::lintPath(root.path(u"/source"_s), Places::below({}), findings));
    QCOMPARE(
        linesOf(findings, root.path(u"/source"_s)),
        QStringList({u"permission-name 50%.permission:0"_s, u"autostart-boolean autostart.conf:2"_s,
                     u"entry-invalid more/b.desktop:0"_s, u"type-object-path notes.desktop:8"_s,
                     u"task-type-boolean task-types/Sync.conf:2"_s}));
}

void TestLint::knowsWhichUsersMayExist()
{
    constexpr int unusedUid = 2000000000;
    QVERIFY(Cli::mayBeUser(0, {}));
    QVERIFY(!Cli::mayBeUser(unusedUid, {}));
    const TempRoot root;
    QVERIFY(Cli::mayBeUser(unusedUid, root.path()));
    root.write(u"/etc/passwd"_s, "root:x:0:0::/root:/bin/sh\n");
    QVERIFY(Cli::mayBeUser(0, root.path()));
    QVERIFY(!Cli::mayBeUser(unusedUid, root.path()));
}

void TestLint::wrapsItsLinesAtTheTerminalsWidth_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::newRow("of findings") << QStringList(u"exec-quotes"_s);
    QTest::newRow("of the rules") << QStringList(u"--list-rules"_s);
    QTest::newRow("of a rule") << QStringList{u"--explain"_s, u"exec-quotes"_s};
}

void TestLint::wrapsItsLinesAtTheTerminalsWidth()
{
    QFETCH(QStringList, words);
    constexpr int width = 60;
    const QString folder = QDir::currentPath();
    QVERIFY(QDir::setCurrent(samplesFolder()));
    const QByteArray text = onTerminal(width, [&words] {
        (void)Cli::runTool(QStringList{u"lint"_s, u"--no-pager"_s} + words);
    });
    QDir::setCurrent(folder);
    qInstallMessageHandler(nullptr);
    QVERIFY(text.count('\n') > 2);
    for (const QString &line : QString::fromUtf8(text).remove(colours()).split(QLatin1Char('\n'))) {
        // A word without blanks is not broken.
        if (line.trimmed().contains(QLatin1Char(' ')))
            QVERIFY2(line.trimmed().size() <= width, qPrintable(line));
    }
}

void TestLint::exitsWithOneWhenSomethingIsWrong_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<int>("status");
    const QString error = samplesFolder() + u"exec-relative"_s;
    const QString warning = samplesFolder() + u"exec-quotes"_s;
    const QString note = samplesFolder() + u"entry-shadowed"_s;
    const QString strict = u"--strict"_s;
    QTest::newRow("an error") << QStringList{error} << 1;
    QTest::newRow("an error in the second path") << QStringList{warning, error} << 1;
    QTest::newRow("an error in JSON") << QStringList{error, u"--json"_s} << 1;
    QTest::newRow("a warning") << QStringList{warning} << 0;
    QTest::newRow("a warning that counts") << QStringList{warning, strict} << 1;
    QTest::newRow("a note") << QStringList{note, strict} << 0;
    QTest::newRow("an error below a root") << QStringList{u"--root"_s, error} << 1;
    QTest::newRow("a path that is not there") << QStringList{u"/missing"_s} << 2;
    QTest::newRow("the list of rules") << QStringList{u"--list-rules"_s} << 0;
    QTest::newRow("a rule") << QStringList{u"--explain"_s, u"exec-quotes"_s} << 0;
    QTest::newRow("no rule") << QStringList{u"--explain"_s, u"exec"_s} << 2;
}

void TestLint::exitsWithOneWhenSomethingIsWrong()
{
    QFETCH(QStringList, words);
    QFETCH(int, status);
    const int found = Cli::runTool(QStringList(u"lint"_s) + words);
    qInstallMessageHandler(nullptr);
    QCOMPARE(found, status);
}

void TestLint::hasASampleForEachRule()
{
    const QStringList have = samples() + largeSamples().keys() + rulesWithoutSample();
    for (const Cli::LintRule &rule : Cli::lintRules())
        QVERIFY2(have.contains(QString::fromLatin1(rule.rule->id)), rule.rule->id);
}

void TestLint::hasAdviceForEachRule()
{
    QSet<QString> ids;
    for (const Cli::LintRule &rule : Cli::lintRules()) {
        QVERIFY2(QByteArray(rule.rule->sentence).endsWith('.'), rule.rule->id);
        QVERIFY2(QByteArray(rule.instead).endsWith('.'), rule.rule->id);
        ids.insert(QString::fromLatin1(rule.rule->id));
    }
    QCOMPARE(ids.size(), Cli::lintRules().size());
    for (const Core::Rule *rule : Core::Rules::all)
        QVERIFY2(Cli::lintRule(QString::fromLatin1(rule->id)) != nullptr, rule->id);
}

void TestLint::listsEveryRuleInTheSource()
{
    const QRegularExpression definition(u"constexpr Rule (\\w+)\\{\\s*\"([a-z0-9-]+)\""_s);
    QMap<QString, QString> ids;
    for (const char *header : {"src/common/Core/rules.h", "src/cli/lint/rules.h"}) {
        const QString text = QString::fromUtf8(contentOf(sourceFolder() + QLatin1String(header)));
        auto found = definition.globalMatch(text);
        while (found.hasNext()) {
            const QRegularExpressionMatch match = found.next();
            ids.insert(match.captured(1), match.captured(2));
        }
    }
    const QRegularExpression use(u"ORVANE_(WARN|MENTION|REMARK)\\(([^;]*?)<<"_s,
                                 QRegularExpression::DotMatchesEverythingOption);
    const QRegularExpression named(u"Rules::(\\w+)"_s);
    int uses = 0;
    QDirIterator files(sourceFolder() + u"src"_s, {u"*.cpp"_s}, QDir::Files,
                       QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString path = files.next();
        auto found = use.globalMatch(QString::fromUtf8(contentOf(path)));
        while (found.hasNext()) {
            const QString words = found.next().captured(2);
            const QString id = ids.value(named.match(words).captured(1));
            QVERIFY2(Cli::lintRule(id) != nullptr, qPrintable(path + words));
            ++uses;
        }
    }
    QVERIFY(uses >= 25);
}

void TestLint::findsNothingInWhatIsRight()
{
    const TempRoot root;
    root.write(entryPath(),
               entryOf(taskOf("sync", "--once") + "Permissions=Internet;\nConditions=Charging;\n",
                       {}, "Sandboxing=Disabled\n"));
    root.write(u"/usr/share/orvane/task-types/Sync.conf"_s, "[TaskType]\nWorksInSession=false\n");
    root.write(u"/etc/sailjail/permissions/Internet.permission"_s, "netfilter\n");
    root.write(u"/opt/app/com.example.Notes/current/manifest.json"_s,
               "{\"keepMediaActiveInBackground\": true}");
    root.write(u"/etc/orvane/os-version-support.cfg"_s, "[Applications]\ncom.example.*=4.5\n");
    root.write(u"/etc/am/conf.d/notes.conf"_s, "[com.example.Notes]\nautostart=true\n");
    Cli::Collected findings;
    QVERIFY(Cli::lintPath(root.path(), Places::below({}), findings));
    QCOMPARE(linesOf(findings, root.path()), QStringList());
}

void TestLint::findsTheSameInAFileAsInItsTree()
{
    const QStringList ofFiles{u"exec-relative/usr/share/applications/notes.desktop"_s,
                              u"manifest-boolean/opt/app/com.example.Notes/current/manifest.json"_s,
                              u"override-key/etc/orvane/os-version-support.cfg"_s,
                              u"task-type-boolean/usr/share/orvane/task-types/Sync.conf"_s,
                              u"autostart-boolean/etc/am/conf.d/notes.conf"_s,
                              u"permission-name/etc/sailjail/permissions/50%.permission"_s};
    for (const QString &file : ofFiles) {
        Cli::Collected findings;
        QVERIFY(Cli::lintPath(samplesFolder() + file, Places::below({}), findings));
        QVERIFY2(rulesIn(findings).contains(file.section(QLatin1Char('/'), 0, 0)),
                 qPrintable(file));
    }
}

void TestLint::findsNothingToReadInOtherFiles()
{
    const TempRoot root;
    root.write(u"/notes/README"_s, "Notes");
    Cli::Collected findings;
    const Places system = Places::below({});
    QVERIFY(!Cli::lintPath(root.path(u"/notes/README"_s), system, findings));
    QVERIFY(!Cli::lintPath(root.path(u"/notes"_s), system, findings));
    QVERIFY(!Cli::lintPath(root.path(u"/missing"_s), system, findings));
}

void TestLint::knowsWhichWordWasMeant_data()
{
    QTest::addColumn<QString>("written");
    QTest::addColumn<QString>("meant");
    QTest::newRow("another case") << u"exec"_s << u"Exec"_s;
    QTest::newRow("letters that are missing") << u"Permision"_s << u"Permissions"_s;
    QTest::newRow("letters that are swapped") << u"Tpye"_s << u"Type"_s;
    QTest::newRow("another word") << u"Colour"_s << QString();
}

void TestLint::knowsWhichWordWasMeant()
{
    QFETCH(QString, written);
    QFETCH(QString, meant);
    const QStringList words{u"Type"_s, u"Exec"_s, u"Permissions"_s, u"Conditions"_s};
    QCOMPARE(Cli::nearWord(written, words), meant);
}

QTEST_GUILESS_MAIN(TestLint)
#include "tst_lint.moc"

#include "cli/cures.h"
#include "common/places.h"
#include "support/temp_root.h"

#include <QFile>
#include <QProcess>
#include <QTest>

class TestCures : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void quotesEveryWord_data();
    void quotesEveryWord();
    void doesNotQuotePlainWords();
    void replacesALineByAnyText_data();
    void replacesALineByAnyText();
    void addsAndDeletesLines();
    void movesAndAppends();
    void changesTheFileOfAnImage();
    void movesWithinAnImage();

private:
    // Runs a command in a shell and returns its output.
    static QByteArray run(const QString &command)
    {
        QProcess shell;
        shell.start(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), command});
        return shell.waitForFinished() && shell.exitCode() == 0 ? shell.readAllStandardOutput()
                                                                : QByteArray("failed");
    }
};

void TestCures::quotesEveryWord_data()
{
    QTest::addColumn<QString>("word");
    for (const char *word : {"plain", "", "two words", "it's", "$(reboot)", "`reboot`", "a;b", "*",
                             "~", "\"", "\\", "#", "-x", "a\nb", "'; reboot; '"})
        QTest::newRow(word) << QString::fromLatin1(word);
}

void TestCures::quotesEveryWord()
{
    QFETCH(QString, word);
    QCOMPARE(run(Cli::commandOf({QStringLiteral("printf"), QStringLiteral("%s|"), word})),
             word.toUtf8() + '|');
}

void TestCures::doesNotQuotePlainWords()
{
    QCOMPARE(Cli::commandOf({QStringLiteral("chmod"), QStringLiteral("a+x"),
                             QStringLiteral("/usr/libexec/notes-1.0/worker_a")}),
             QStringLiteral("chmod a+x /usr/libexec/notes-1.0/worker_a"));
    QCOMPARE(Cli::systemctl("start", QStringLiteral("a.service")),
             QStringLiteral("systemctl start a.service"));
}

void TestCures::replacesALineByAnyText_data()
{
    QTest::addColumn<QString>("text");
    for (const char *text :
         {"Type=Sync", "Exec=/bin/sh -c \\$x 'a' & \\1 #/", "  blanks", "\\t", "[X-Task sync]"})
        QTest::newRow(text) << QString::fromLatin1(text);
}

void TestCures::replacesALineByAnyText()
{
    QFETCH(QString, text);
    const TempRoot root;
    const QString file = QStringLiteral("/an entry.desktop");
    root.write(file, "one\ntwo\nthree\n");
    QCOMPARE(run(Cli::replacingLine(root.path(file), 2, text)), QByteArray());
    QCOMPARE(root.read(file), "one\n" + text.toUtf8() + "\nthree\n");
}

void TestCures::addsAndDeletesLines()
{
    const TempRoot root;
    const QString file = QStringLiteral("/entry");
    root.write(file, "one\ntwo\n");
    QCOMPARE(run(Cli::inTurn(Cli::addingLine(root.path(file), 1, QStringLiteral("new")),
                             Cli::deletingLine(root.path(file), 3))),
             QByteArray());
    QCOMPARE(root.read(file), QByteArray("one\nnew\n"));
}

void TestCures::movesAndAppends()
{
    const TempRoot root;
    root.write(QStringLiteral("/a file"), "one");
    const QString target = root.path(QStringLiteral("/a target"));
    QCOMPARE(run(Cli::moving(root.path(QStringLiteral("/a file")), target)), QByteArray());
    QCOMPARE(run(Cli::appending(target, {QString(), QStringLiteral("a b")})), QByteArray());
    QCOMPARE(root.read(QStringLiteral("/a target")), QByteArray("one\na b\n"));
    const QString fresh = QStringLiteral("/not/there/yet");
    QCOMPARE(run(Cli::appending(root.path(fresh), {QStringLiteral("x")})), QByteArray());
    QCOMPARE(root.read(fresh), QByteArray("x\n"));
}

// For the shell, a link in an image points to a file outside the image.
void TestCures::changesTheFileOfAnImage()
{
    const TempRoot root;
    const QString entry = QStringLiteral("/usr/share/applications/a.desktop");
    const QString target = QStringLiteral("/usr/share/entries/a.desktop");
    root.write(target, "old\n");
    QVERIFY(QFile::link(target, root.path(entry)));
    Places::setOfProcess(Places::below(root.path()));
    const QString file = root.path(entry);
    QCOMPARE(run(Cli::replacingLine(file, 1, QStringLiteral("new"))), QByteArray());
    QCOMPARE(run(Cli::appending(file, {QStringLiteral("more")})), QByteArray());
    Places::setOfProcess(Places());
    QCOMPARE(root.read(target), QByteArray("new\nmore\n"));
}

// Also in a folder that is a link. A link that is to be moved is not followed.
void TestCures::movesWithinAnImage()
{
    const TempRoot host;
    host.write(QStringLiteral("/entries/a.desktop"), "host's");
    const TempRoot root;
    const QString folder = host.path(QStringLiteral("/entries"));
    const QString real = root.path(folder);
    root.write(folder + QStringLiteral("/a.desktop"), "image's");
    QVERIFY(QFile::link(QStringLiteral("a.desktop"), real + QStringLiteral("/link.desktop")));
    QVERIFY(QFile::link(folder, root.path(QStringLiteral("/applications"))));
    Places::setOfProcess(Places::below(root.path()));
    const auto move = [&root](const char *from, const char *to) {
        return run(Cli::moving(root.path(QStringLiteral("/applications/")) + QLatin1String(from),
                               root.path(QStringLiteral("/applications/")) + QLatin1String(to)));
    };
    const QByteArray ofFile = move("a.desktop", "b.desktop");
    const QByteArray ofLink = move("link.desktop", "c.desktop");
    Places::setOfProcess(Places());
    QCOMPARE(ofFile + ofLink, QByteArray());
    QCOMPARE(host.read(QStringLiteral("/entries/a.desktop")), QByteArray("host's"));
    QCOMPARE(root.read(folder + QStringLiteral("/b.desktop")), QByteArray("image's"));
    QCOMPARE(QFile::symLinkTarget(real + QStringLiteral("/c.desktop")),
             real + QStringLiteral("/a.desktop"));
}

QTEST_GUILESS_MAIN(TestCures)
#include "tst_cures.moc"

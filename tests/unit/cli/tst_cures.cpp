#include "cli/cures.h"
#include "common/places.h"
#include "support/literals.h"
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
        shell.start(u"/bin/sh"_s, {u"-c"_s, command});
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
    QCOMPARE(run(Cli::commandOf({u"printf"_s, u"%s|"_s, word})), word.toUtf8() + '|');
}

void TestCures::doesNotQuotePlainWords()
{
    QCOMPARE(Cli::commandOf({u"chmod"_s, u"a+x"_s, u"/usr/libexec/notes-1.0/worker_a"_s}),
             u"chmod a+x /usr/libexec/notes-1.0/worker_a"_s);
    QCOMPARE(Cli::systemctl("start", u"a.service"_s), u"systemctl start a.service"_s);
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
    const QString file = u"/an entry.desktop"_s;
    root.write(file, "one\ntwo\nthree\n");
    QCOMPARE(run(Cli::replacingLine(root.path(file), 2, text)), QByteArray());
    QCOMPARE(root.read(file), "one\n" + text.toUtf8() + "\nthree\n");
}

void TestCures::addsAndDeletesLines()
{
    const TempRoot root;
    const QString file = u"/entry"_s;
    root.write(file, "one\ntwo\n");
    QCOMPARE(run(Cli::inTurn(Cli::addingLine(root.path(file), 1, u"new"_s),
                             Cli::deletingLine(root.path(file), 3))),
             QByteArray());
    QCOMPARE(root.read(file), QByteArray("one\nnew\n"));
}

void TestCures::movesAndAppends()
{
    const TempRoot root;
    root.write(u"/a file"_s, "one");
    const QString target = root.path(u"/a target"_s);
    QCOMPARE(run(Cli::moving(root.path(u"/a file"_s), target)), QByteArray());
    QCOMPARE(run(Cli::appending(target, {QString(), u"a b"_s})), QByteArray());
    QCOMPARE(root.read(u"/a target"_s), QByteArray("one\na b\n"));
    const QString fresh = u"/not/there/yet"_s;
    QCOMPARE(run(Cli::appending(root.path(fresh), {u"x"_s})), QByteArray());
    QCOMPARE(root.read(fresh), QByteArray("x\n"));
}

// For the shell, a link in an image points to a file outside the image.
void TestCures::changesTheFileOfAnImage()
{
    const TempRoot root;
    const QString entry = u"/usr/share/applications/a.desktop"_s;
    const QString target = u"/usr/share/entries/a.desktop"_s;
    root.write(target, "old\n");
    QVERIFY(QFile::link(target, root.path(entry)));
    Places::setOfProcess(Places::below(root.path()));
    const QString file = root.path(entry);
    QCOMPARE(run(Cli::replacingLine(file, 1, u"new"_s)), QByteArray());
    QCOMPARE(run(Cli::appending(file, {u"more"_s})), QByteArray());
    Places::setOfProcess(Places());
    QCOMPARE(root.read(target), QByteArray("new\nmore\n"));
}

// Also in a folder that is a link. A link that is to be moved is not followed.
void TestCures::movesWithinAnImage()
{
    const TempRoot host;
    host.write(u"/entries/a.desktop"_s, "host's");
    const TempRoot root;
    const QString folder = host.path(u"/entries"_s);
    const QString real = root.path(folder);
    root.write(folder + u"/a.desktop"_s, "image's");
    QVERIFY(QFile::link(u"a.desktop"_s, real + u"/link.desktop"_s));
    QVERIFY(QFile::link(folder, root.path(u"/applications"_s)));
    Places::setOfProcess(Places::below(root.path()));
    const auto move = [&root](const char *from, const char *to) {
        return run(Cli::moving(root.path(u"/applications/"_s) + QLatin1String(from),
                               root.path(u"/applications/"_s) + QLatin1String(to)));
    };
    const QByteArray ofFile = move("a.desktop", "b.desktop");
    const QByteArray ofLink = move("link.desktop", "c.desktop");
    Places::setOfProcess(Places());
    QCOMPARE(ofFile + ofLink, QByteArray());
    QCOMPARE(host.read(u"/entries/a.desktop"_s), QByteArray("host's"));
    QCOMPARE(root.read(folder + u"/b.desktop"_s), QByteArray("image's"));
    QCOMPARE(QFile::symLinkTarget(real + u"/c.desktop"_s), real + u"/a.desktop"_s);
}

QTEST_GUILESS_MAIN(TestCures)
#include "tst_cures.moc"

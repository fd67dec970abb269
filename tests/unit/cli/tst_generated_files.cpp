#include "cli/completion.h"
#include "cli/man_page.h"
#include "support/literals.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

// Checks that the man page and the completions in the source tree match the table of commands. With
// ORVANE_UPDATE_DOCS=1 it writes them.
class TestGeneratedFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void areWhatTheTableMakes_data();
    void areWhatTheTableMakes();
    void areAcceptedByTheirShell_data();
    void areAcceptedByTheirShell();
    void completesInBash_data();
    void completesInBash();
    void keepsFileNamesWithBlanksInBash();
    void completesInFish_data();
    void completesInFish();
    void completesNamesOfFilesInZsh();

private:
    static QString outputOf(const QString &shell, const QString &script, const QString &folder)
    {
        QProcess process;
        process.setWorkingDirectory(folder);
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(shell, {u"-c"_s, script});
        return process.waitForFinished() ? QString::fromUtf8(process.readAll()) : QString();
    }
    static QString path(const QString &file) { return QStringLiteral(SOURCE_FOLDER "/") + file; }
};

void TestGeneratedFiles::areWhatTheTableMakes_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("man page") << u"docs/man/orvanectl.1"_s << Cli::manPage();
    QTest::newRow("bash") << u"data/completion/orvanectl.bash"_s << Cli::bashCompletion();
    QTest::newRow("zsh") << u"data/completion/orvanectl.zsh"_s << Cli::zshCompletion();
    QTest::newRow("fish") << u"data/completion/orvanectl.fish"_s << Cli::fishCompletion();
}

void TestGeneratedFiles::areWhatTheTableMakes()
{
    QFETCH(QString, file);
    QFETCH(QByteArray, text);
    QFile kept(path(file));
    if (qgetenv("ORVANE_UPDATE_DOCS") == QByteArray("1")) {
        QVERIFY(kept.open(QIODevice::WriteOnly));
        QCOMPARE(kept.write(text), qint64(text.size()));
        return;
    }
    QVERIFY(kept.open(QIODevice::ReadOnly));
    QCOMPARE(kept.readAll(), text);
}

void TestGeneratedFiles::areAcceptedByTheirShell_data()
{
    QTest::addColumn<QString>("shell");
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("bash") << u"bash"_s << Cli::bashCompletion();
    QTest::newRow("zsh") << u"zsh"_s << Cli::zshCompletion();
    QTest::newRow("fish") << u"fish"_s << Cli::fishCompletion();
}

void TestGeneratedFiles::areAcceptedByTheirShell()
{
    QFETCH(QString, shell);
    QFETCH(QByteArray, text);
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(shell, {u"-n"_s, u"/dev/stdin"_s});
    QVERIFY(process.waitForStarted());
    process.write(text);
    process.closeWriteChannel();
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.readAll(), QByteArray());
    QCOMPARE(process.exitCode(), 0);
}

void TestGeneratedFiles::completesInBash_data()
{
    QTest::addColumn<QString>("words");
    QTest::addColumn<QString>("completions");
    QTest::newRow("a command") << u"orvanectl st"_s << u"start stop"_s;
    QTest::newRow("an option") << u"orvanectl start x --ho"_s << u"--homeless"_s;
    QTest::newRow("an option of every command") << u"orvanectl types --js"_s << u"--json"_s;
    QTest::newRow("a task") << u"orvanectl start com.e"_s
                            << u"com.example.A.task_a com.example.B.task_b"_s;
    QTest::newRow("an application")
        << u"orvanectl tasks --app com.e"_s << u"com.example.A com.example.B"_s;
    QTest::newRow("a user") << u"orvanectl start x --user roo"_s << u"root"_s;
    QTest::newRow("a file") << u"orvanectl lint docs/archi"_s << u"docs/architecture.md"_s;
    QTest::newRow("a further file") << u"orvanectl lint data CMakeL"_s << u"CMakeLists.txt"_s;
    QTest::newRow("a root, for any command") << u"orvanectl tasks --root pack"_s << u"packaging"_s;
    QTest::newRow("an option of lint") << u"orvanectl lint --stri"_s << u"--strict"_s;
    QTest::newRow("a text without completions") << u"orvanectl start x --own -"_s << QString();
}

void TestGeneratedFiles::completesInBash()
{
    QFETCH(QString, words);
    QFETCH(QString, completions);
    const QString script =
        u"orvanectl() { printf '%s\\n' 'TASK TYPE' 'com.example.A.task_a T' "
        "'com.example.B.task_b T'; }\n"
        "source '%2'\n"
        "COMP_WORDS=(%1)\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n_orvanectl\n"
        "echo \"${COMPREPLY[*]}\"\n"_s.arg(words, path(u"data/completion/orvanectl.bash"_s));
    QCOMPARE(outputOf(u"bash"_s, script, QStringLiteral(SOURCE_FOLDER)).trimmed(), completions);
}

void TestGeneratedFiles::keepsFileNamesWithBlanksInBash()
{
    const QTemporaryDir folder;
    QFile file(folder.filePath(u"two words.desktop"_s));
    QVERIFY(file.open(QIODevice::WriteOnly));
    const QString script =
        u"source '%1'\nCOMP_WORDS=(orvanectl lint t)\nCOMP_CWORD=2\n_orvanectl\n"
        "printf '<%s>' \"${COMPREPLY[@]}\"\n"_s.arg(path(u"data/completion/orvanectl.bash"_s));
    QCOMPARE(outputOf(u"bash"_s, script, folder.path()), u"<two words.desktop>"_s);
}

void TestGeneratedFiles::completesInFish_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("completion");
    QTest::newRow("a command") << u"orvanectl hist"_s << u"history"_s;
    QTest::newRow("a file") << u"orvanectl lint docs/archi"_s << u"docs/architecture.md"_s;
    QTest::newRow("a root, for any command") << u"orvanectl tasks --root pack"_s << u"packaging/"_s;
    QTest::newRow("no file where none is wanted") << u"orvanectl types CMakeL"_s << QString();
}

void TestGeneratedFiles::completesInFish()
{
    QFETCH(QString, line);
    QFETCH(QString, completion);
    const QString script =
        u"source '%1'; complete -C '%2'"_s.arg(path(u"data/completion/orvanectl.fish"_s), line);
    const QString output = outputOf(u"fish"_s, script, QStringLiteral(SOURCE_FOLDER)).trimmed();
    QCOMPARE(output.section(QLatin1Char('\t'), 0, 0), completion);
}

void TestGeneratedFiles::completesNamesOfFilesInZsh()
{
    const QByteArray text = Cli::zshCompletion();
    QVERIFY(text.contains("'*:path:_files'"));
    QVERIFY(text.contains(":dir:_files'"));
}

QTEST_GUILESS_MAIN(TestGeneratedFiles)
#include "tst_generated_files.moc"

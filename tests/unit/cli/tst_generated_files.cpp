#include "cli/completion.h"
#include "cli/man_page.h"

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
        process.start(shell, {QStringLiteral("-c"), script});
        return process.waitForFinished() ? QString::fromUtf8(process.readAll()) : QString();
    }
    static QString path(const QString &file) { return QStringLiteral(SOURCE_FOLDER "/") + file; }
};

void TestGeneratedFiles::areWhatTheTableMakes_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("man page") << QStringLiteral("docs/man/orvanectl.1") << Cli::manPage();
    QTest::newRow("bash") << QStringLiteral("data/completion/orvanectl.bash")
                          << Cli::bashCompletion();
    QTest::newRow("zsh") << QStringLiteral("data/completion/orvanectl.zsh") << Cli::zshCompletion();
    QTest::newRow("fish") << QStringLiteral("data/completion/orvanectl.fish")
                          << Cli::fishCompletion();
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
    QTest::newRow("bash") << QStringLiteral("bash") << Cli::bashCompletion();
    QTest::newRow("zsh") << QStringLiteral("zsh") << Cli::zshCompletion();
    QTest::newRow("fish") << QStringLiteral("fish") << Cli::fishCompletion();
}

void TestGeneratedFiles::areAcceptedByTheirShell()
{
    QFETCH(QString, shell);
    QFETCH(QByteArray, text);
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(shell, {QStringLiteral("-n"), QStringLiteral("/dev/stdin")});
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
    QTest::newRow("a command") << QStringLiteral("orvanectl st") << QStringLiteral("start stop");
    QTest::newRow("an option") << QStringLiteral("orvanectl start x --ho")
                               << QStringLiteral("--homeless");
    QTest::newRow("an option of every command")
        << QStringLiteral("orvanectl types --js") << QStringLiteral("--json");
    QTest::newRow("a task") << QStringLiteral("orvanectl start com.e")
                            << QStringLiteral("com.example.A.task_a com.example.B.task_b");
    QTest::newRow("an application") << QStringLiteral("orvanectl tasks --app com.e")
                                    << QStringLiteral("com.example.A com.example.B");
    QTest::newRow("a user") << QStringLiteral("orvanectl start x --user roo")
                            << QStringLiteral("root");
    QTest::newRow("a file") << QStringLiteral("orvanectl lint docs/archi")
                            << QStringLiteral("docs/architecture.md");
    QTest::newRow("a further file")
        << QStringLiteral("orvanectl lint data CMakeL") << QStringLiteral("CMakeLists.txt");
    QTest::newRow("a root, for any command")
        << QStringLiteral("orvanectl tasks --root pack") << QStringLiteral("packaging");
    QTest::newRow("an option of lint")
        << QStringLiteral("orvanectl lint --stri") << QStringLiteral("--strict");
    QTest::newRow("a text without completions")
        << QStringLiteral("orvanectl start x --own -") << QString();
}

void TestGeneratedFiles::completesInBash()
{
    QFETCH(QString, words);
    QFETCH(QString, completions);
    const QString script =
        QStringLiteral("orvanectl() { printf '%s\\n' 'TASK TYPE' 'com.example.A.task_a T' "
                       "'com.example.B.task_b T'; }\n"
                       "source '%2'\n"
                       "COMP_WORDS=(%1)\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n_orvanectl\n"
                       "echo \"${COMPREPLY[*]}\"\n")
            .arg(words, path(QStringLiteral("data/completion/orvanectl.bash")));
    QCOMPARE(outputOf(QStringLiteral("bash"), script, QStringLiteral(SOURCE_FOLDER)).trimmed(),
             completions);
}

void TestGeneratedFiles::keepsFileNamesWithBlanksInBash()
{
    const QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("two words.desktop")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    const QString script =
        QStringLiteral("source '%1'\nCOMP_WORDS=(orvanectl lint t)\nCOMP_CWORD=2\n_orvanectl\n"
                       "printf '<%s>' \"${COMPREPLY[@]}\"\n")
            .arg(path(QStringLiteral("data/completion/orvanectl.bash")));
    QCOMPARE(outputOf(QStringLiteral("bash"), script, folder.path()),
             QStringLiteral("<two words.desktop>"));
}

void TestGeneratedFiles::completesInFish_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("completion");
    QTest::newRow("a command") << QStringLiteral("orvanectl hist") << QStringLiteral("history");
    QTest::newRow("a file") << QStringLiteral("orvanectl lint docs/archi")
                            << QStringLiteral("docs/architecture.md");
    QTest::newRow("a root, for any command")
        << QStringLiteral("orvanectl tasks --root pack") << QStringLiteral("packaging/");
    QTest::newRow("no file where none is wanted")
        << QStringLiteral("orvanectl types CMakeL") << QString();
}

void TestGeneratedFiles::completesInFish()
{
    QFETCH(QString, line);
    QFETCH(QString, completion);
    const QString script = QStringLiteral("source '%1'; complete -C '%2'")
                               .arg(path(QStringLiteral("data/completion/orvanectl.fish")), line);
    const QString output =
        outputOf(QStringLiteral("fish"), script, QStringLiteral(SOURCE_FOLDER)).trimmed();
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

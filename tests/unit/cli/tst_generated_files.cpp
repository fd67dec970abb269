#include "cli/completion.h"
#include "cli/man_page.h"

#include <QFile>
#include <QProcess>
#include <QTest>

// The manual page and the completions are in the tree as the table of commands makes them. With
// ORVANE_UPDATE_DOCS=1 this writes them.
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

private:
    static QString path(const QString &file) { return QStringLiteral(SOURCE_FOLDER "/") + file; }
};

void TestGeneratedFiles::areWhatTheTableMakes_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("manual page") << QStringLiteral("docs/man/orvanectl.1") << Cli::manPage();
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
    QTest::newRow("a text that nobody knows")
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
    QProcess process;
    process.start(QStringLiteral("bash"), {QStringLiteral("-c"), script});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.readAllStandardError(), QByteArray());
    QCOMPARE(QString::fromUtf8(process.readAllStandardOutput()).trimmed(), completions);
}

QTEST_GUILESS_MAIN(TestGeneratedFiles)
#include "tst_generated_files.moc"

#include "common/logging.h"

#include <QProcess>
#include <QTemporaryFile>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

namespace Speaker {

void speak(const QString &name)
{
    qWarning() << "Invalid app ID in" << name;
    const auto lambda = [](int) { qDebug() << "from a lambda" << 5; };
    lambda(1);
    qWarning("one\ntwo");
    qWarning().noquote() << QString(QStringLiteral("three") + QChar() + QStringLiteral("four"));
    qWarning().noquote() << QStringLiteral("five\x1b[31m\x7fsix\rseven");
    qWarning().noquote() << QString(100000, QLatin1Char('x'));
}

} // namespace Speaker

class TestLogging : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void namesFileLineAndFunction();
    void marksPrioritiesForTheJournal();

private:
    /// What this program logs when it is told to speak; standard error goes to a file.
    static QByteArrayList linesOfSpeech(bool toTheJournal);
};

QByteArrayList TestLogging::linesOfSpeech(bool toTheJournal)
{
    QTemporaryFile file;
    file.open();
    QProcess process;
    QStringList environment = QProcess::systemEnvironment();
    struct stat status = {};
    fstat(file.handle(), &status);
    environment << QStringLiteral("SPEAK=1")
                << QStringLiteral("JOURNAL_STREAM=%1:%2")
                       .arg(status.st_dev)
                       .arg(status.st_ino + (toTheJournal ? 0 : 1));
    process.setEnvironment(environment);
    process.setStandardErrorFile(file.fileName(), QIODevice::Append);
    process.start(QCoreApplication::applicationFilePath(), QStringList());
    process.waitForFinished();
    return file.readAll().trimmed().split('\n');
}

void TestLogging::namesFileLineAndFunction()
{
    const QByteArrayList lines = linesOfSpeech(false);
    QCOMPARE(lines.size(), 6);
    const QByteArray file = "tests/unit/common/tst_logging.cpp:";
    QCOMPARE(lines.at(0),
             file + "14: void Speaker::speak(const QString&): Invalid app ID in \"a\\nb\"");
    QCOMPARE(lines.at(1),
             file + "15: Speaker::speak(const QString&)::<lambda(int)>: from a lambda 5");
    // One message is one line, whatever it holds.
    QCOMPARE(lines.at(2), file + "17: void Speaker::speak(const QString&): one two");
    QCOMPARE(lines.at(3), file + "18: void Speaker::speak(const QString&): three four");
    QCOMPARE(lines.at(4), file + "19: void Speaker::speak(const QString&): five [31m six seven");
    // The journal would make two lines of a longer one.
    QCOMPARE(lines.at(5),
             file + "20: void Speaker::speak(const QString&): " + QByteArray(4096, 'x') + "...");
}

void TestLogging::marksPrioritiesForTheJournal()
{
    const QByteArrayList lines = linesOfSpeech(true);
    QCOMPARE(lines.size(), 6);
    QVERIFY(lines.at(0).startsWith("<4>tests/"));
    QVERIFY(lines.at(1).startsWith("<7>tests/"));
    QVERIFY(lines.at(2).startsWith("<4>tests/"));
}

int main(int argc, char *argv[])
{
    if (qEnvironmentVariableIsSet("SPEAK")) {
        installLogHandler();
        Speaker::speak(QStringLiteral("a\nb"));
        return 0;
    }
    QCoreApplication application(argc, argv);
    TestLogging test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_logging.moc"

#include "common/logging.h"
#include "support/function_names.h"
#include "support/literals.h"

#include <QProcess>
#include <QTemporaryFile>
#include <QTest>

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Speaker {

void speak(const QString &name)
{
    qWarning() << "Invalid app ID in" << name;
    const auto lambda = [](int) { qDebug() << "from a lambda" << 5; };
    lambda(1);
    qWarning("one\ntwo");
    qWarning().noquote() << QString(u"three"_s + QChar() + u"four"_s);
    qWarning().noquote() << u"five\x1b[31m\x7fsix\rseven"_s;
    qWarning().noquote() << QString(100000, QLatin1Char('x'));
}

} // namespace Speaker

/// A pipe whose reader may stop reading.
class Pipe
{
public:
    Pipe() { [[maybe_unused]] const int made = ::pipe2(m_ends, O_CLOEXEC | O_NONBLOCK); }
    ~Pipe()
    {
        closeReader();
        ::close(m_ends[1]);
    }
    Q_DISABLE_COPY(Pipe)

    [[nodiscard]] QString path() const
    {
        return u"/proc/%1/fd/%2"_s.arg(::getpid()).arg(m_ends[1]);
    }
    void fill() const
    {
        while (::write(m_ends[1], "x", 1) == 1) { }
    }
    [[nodiscard]] QByteArray readAll() const
    {
        QByteArray text;
        char piece[4096];
        for (ssize_t got = 0; (got = ::read(m_ends[0], piece, sizeof piece)) > 0;)
            text.append(piece, static_cast<int>(got));
        return text;
    }
    void closeReader()
    {
        if (m_ends[0] >= 0)
            ::close(m_ends[0]);
        m_ends[0] = -1;
    }

private:
    int m_ends[2] = {-1, -1};
};

class TestLogging : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void namesFileLineAndFunction();
    void marksPrioritiesForTheJournal();
    void losesLinesRatherThanWaitForAReader();
    void saysHowManyLinesWereLost();
    void outlivesTheReader();
    void writesToNoFileThatGotItsNumber();

private:
    /// The lines that this program logs in a child process; standard error is a file.
    static QByteArrayList linesOfSpeech(bool toTheJournal);
    /// Starts this program as a child that logs when it gets a line. Its standard error is a pipe.
    static void listen(QProcess &process, const Pipe &pipe);
};

QByteArrayList TestLogging::linesOfSpeech(bool toTheJournal)
{
    QTemporaryFile file;
    file.open();
    QProcess process;
    QStringList environment = QProcess::systemEnvironment();
    struct stat status = {};
    fstat(file.handle(), &status);
    environment
        << u"SPEAK=1"_s
        << u"JOURNAL_STREAM=%1:%2"_s.arg(status.st_dev).arg(status.st_ino + (toTheJournal ? 0 : 1));
    process.setEnvironment(environment);
    process.setStandardErrorFile(file.fileName(), QIODevice::Append);
    process.start(QCoreApplication::applicationFilePath(), QStringList());
    process.waitForFinished();
    return withFunctionNamesOfGcc(file.readAll()).trimmed().split('\n');
}

void TestLogging::namesFileLineAndFunction()
{
    const QByteArrayList lines = linesOfSpeech(false);
    QCOMPARE(lines.size(), 6);
    const QByteArray file = "tests/unit/common/tst_logging.cpp:";
    QCOMPARE(lines.at(0),
             file + "19: void Speaker::speak(const QString&): Invalid app ID in \"a\\nb\"");
    QCOMPARE(lines.at(1),
             file + "20: Speaker::speak(const QString&)::<lambda(int)>: from a lambda 5");
    // One message is always one line.
    QCOMPARE(lines.at(2), file + "22: void Speaker::speak(const QString&): one two");
    QCOMPARE(lines.at(3), file + "23: void Speaker::speak(const QString&): three four");
    QCOMPARE(lines.at(4), file + "24: void Speaker::speak(const QString&): five [31m six seven");
    // The journal would split a longer line.
    QCOMPARE(lines.at(5),
             file + "25: void Speaker::speak(const QString&): " + QByteArray(4096, 'x') + "...");
}

void TestLogging::marksPrioritiesForTheJournal()
{
    const QByteArrayList lines = linesOfSpeech(true);
    QCOMPARE(lines.size(), 6);
    QVERIFY(lines.at(0).startsWith("<4>tests/"));
    QVERIFY(lines.at(1).startsWith("<7>tests/"));
    QVERIFY(lines.at(2).startsWith("<4>tests/"));
}

void TestLogging::listen(QProcess &process, const Pipe &pipe)
{
    process.setEnvironment(QProcess::systemEnvironment() << u"SPEAK=when told"_s);
    process.setStandardErrorFile(pipe.path(), QIODevice::Append);
    process.start(QCoreApplication::applicationFilePath(), QStringList());
    QVERIFY(process.waitForStarted());
}

void TestLogging::losesLinesRatherThanWaitForAReader()
{
    const Pipe pipe;
    pipe.fill();
    QProcess process;
    listen(process, pipe);
    process.write("\n");
    process.closeWriteChannel();
    QVERIFY(process.waitForFinished(20000));
    QCOMPARE(process.exitCode(), 0);
    const QByteArray text = pipe.readAll();
    QCOMPARE(text, QByteArray(text.size(), 'x'));
}

void TestLogging::saysHowManyLinesWereLost()
{
    const Pipe pipe;
    pipe.fill();
    QProcess process;
    listen(process, pipe);
    process.write("\n");
    // The child reports when it has logged.
    QVERIFY(process.waitForReadyRead(20000));
    (void)pipe.readAll();
    process.write("\n");
    process.closeWriteChannel();
    QVERIFY(process.waitForFinished(20000));
    const QByteArrayList lines = pipe.readAll().trimmed().split('\n');
    QCOMPARE(lines.size(), 7);
    QCOMPARE(lines.at(0), QByteArray("(log lines lost: 6)"));
    QVERIFY(lines.at(1).contains("Invalid app ID"));
}

void TestLogging::outlivesTheReader()
{
    Pipe pipe;
    QProcess process;
    listen(process, pipe);
    pipe.closeReader();
    process.write("\n");
    process.closeWriteChannel();
    QVERIFY(process.waitForFinished(20000));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 0);
}

void TestLogging::writesToNoFileThatGotItsNumber()
{
    QTemporaryFile file;
    QVERIFY(file.open());
    QProcess process;
    process.setEnvironment(QProcess::systemEnvironment()
                           << u"SPEAK=once"_s << u"LATER_FILE=%1"_s.arg(file.fileName()));
    process.start(u"sh"_s,
                  {u"-c"_s, u"exec \"$0\" 2>&-"_s, QCoreApplication::applicationFilePath()});
    QVERIFY(process.waitForFinished(20000));
    QCOMPARE(process.exitCode(), 0);
    QCOMPARE(file.readAll(), QByteArray());
}

int main(int argc, char *argv[])
{
    if (qEnvironmentVariableIsSet("SPEAK")) {
        // The default, even if the parent of this test has changed it.
        std::signal(SIGPIPE, SIG_DFL);
        installLogHandler();
        const QByteArray laterFile = qgetenv("LATER_FILE");
        if (!laterFile.isEmpty() && ::open(laterFile.constData(), O_WRONLY) < 0)
            return 1;
        const bool isTold = qgetenv("SPEAK") == "when told";
        do {
            if (isTold && std::getchar() == EOF)
                return 0;
            Speaker::speak(u"a\nb"_s);
            std::puts("Spoken");
            std::fflush(stdout);
        } while (isTold);
        return 0;
    }
    QCoreApplication application(argc, argv);
    TestLogging test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_logging.moc"

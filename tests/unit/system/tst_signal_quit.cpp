#include "support/literals.h"
#include "system/signal_quit.h"

#include <QCoreApplication>
#include <QDir>
#include <QTest>
#include <QTimer>

#include <cerrno>
#include <csignal>

class TestSignalQuit : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void endsTheLoop_data();
    void endsTheLoop();
    void keepsASignalThatCameBeforeTheLoop();
    void installsAPlainHandler();
    void leavesErrnoAlone();
    void leavesOtherSignalsAlone();
    void opensOneDescriptorForTheProcess();
    void ignoresWhatComesAfterItsEnd();
};

void TestSignalQuit::endsTheLoop_data()
{
    QTest::addColumn<int>("number");
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGINT") << SIGINT;
}

void TestSignalQuit::endsTheLoop()
{
    QFETCH(int, number);
    const SignalQuit quit;
    QTimer::singleShot(0, this, [number] { std::raise(number); });
    QCOMPARE(QCoreApplication::exec(), 0);
}

void TestSignalQuit::keepsASignalThatCameBeforeTheLoop()
{
    const SignalQuit quit;
    std::raise(SIGTERM);
    QCOMPARE(QCoreApplication::exec(), 0);
}

void TestSignalQuit::installsAPlainHandler()
{
    const SignalQuit quit;
    for (const int number : {SIGTERM, SIGINT}) {
        struct sigaction action = {};
        sigaction(number, nullptr, &action);
        // The C library adds a flag, so not all flags are compared.
        const auto flags = static_cast<unsigned int>(action.sa_flags);
        QVERIFY((flags & (SA_RESTART | SA_RESETHAND | SA_NODEFER | SA_SIGINFO)) == 0);
        QVERIFY(sigismember(&action.sa_mask, SIGINT) == 0);
        QVERIFY(sigismember(&action.sa_mask, SIGHUP) == 0);
    }
}

void TestSignalQuit::leavesErrnoAlone()
{
    const SignalQuit quit;
    errno = 4711;
    std::raise(SIGTERM);
    QCOMPARE(errno, 4711);
    QCOMPARE(QCoreApplication::exec(), 0);
}

void TestSignalQuit::leavesOtherSignalsAlone()
{
    const SignalQuit quit;
    struct sigaction action = {};
    sigaction(SIGTERM, nullptr, &action);
    action.sa_handler(SIGUSR1);
    // The loop checks its descriptors in a pass that ends before this timer does.
    QTimer::singleShot(0, this,
                       [this] { QTimer::singleShot(0, this, [] { QCoreApplication::exit(3); }); });
    QCOMPARE(QCoreApplication::exec(), 3);
}

void TestSignalQuit::opensOneDescriptorForTheProcess()
{
    const QDir descriptors(u"/proc/self/fd"_s);
    const auto count = [&descriptors] {
        return descriptors.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size();
    };
    {
        const SignalQuit quit;
    }
    const auto before = count();
    {
        const SignalQuit quit;
        QCOMPARE(count(), before);
    }
    QCOMPARE(count(), before);
}

void TestSignalQuit::ignoresWhatComesAfterItsEnd()
{
    {
        const SignalQuit quit;
    }
    std::raise(SIGTERM);
    std::raise(SIGINT);
}

QTEST_GUILESS_MAIN(TestSignalQuit)
#include "tst_signal_quit.moc"

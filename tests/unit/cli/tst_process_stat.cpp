#include "cli/process_stat.h"

#include "common/places.h"
#include "support/literals.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

using Cli::ProcessStat;

namespace {

// Converts to nanoseconds and bytes; the kernel's units depend on the machine.
quint64 ticks(quint64 count)
{
    return count * (quint64(1000000000) / static_cast<quint64>(sysconf(_SC_CLK_TCK)));
}

quint64 pages(quint64 count) { return count * static_cast<quint64>(sysconf(_SC_PAGESIZE)); }

// A line in the kernel's format, with user time, system time and resident pages.
QByteArray line(const char *name, int parent, int user, int system, int resident)
{
    return u"12 (%1) S %2 12 12 0 -1 4194304 90 91 92 93 %3 %4 95 96 20 0 1 0 97 98 %5 "
           "99 1 1\n"_s.arg(QString::fromLatin1(name))
               .arg(parent)
               .arg(user)
               .arg(system)
               .arg(resident)
               .toLatin1();
}

} // namespace

class TestProcessStat : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void readsWhatTheKernelWrites_data();
    void readsWhatTheKernelWrites();
    void readsItsOwnProcess();
    void addsUpExistingProcesses_data();
    void addsUpExistingProcesses();

private:
    void write(int pid, const QByteArray &text) const
    {
        const QString folder = u"%1/proc/%2"_s.arg(root->path()).arg(pid);
        QVERIFY(QDir().mkpath(folder));
        QFile file(folder + u"/stat"_s);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(text), qint64(text.size()));
    }

    std::unique_ptr<QTemporaryDir> root;
};

void TestProcessStat::init()
{
    root = std::make_unique<QTemporaryDir>();
    write(2, line("worker", 1, 30, 4, 100));
    write(3, line("odd) R 7 (name", 2, 1, 1, 1));
}

void TestProcessStat::readsWhatTheKernelWrites_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<int>("parent");
    QTest::addColumn<quint64>("processorTime");
    QTest::addColumn<quint64>("memory");
    QTest::newRow("a plain name") << line("worker", 11, 30, 4, 100) << 11 << ticks(34)
                                  << pages(100);
    QTest::newRow("a name with brackets")
        << line("a) R 7 (b", 11, 0, 0, 0) << 11 << quint64(0) << quint64(0);
    QTest::newRow("nothing") << QByteArray() << 0 << ProcessStat::notKnown << ProcessStat::notKnown;
    QTest::newRow("cut off") << QByteArray("12 (worker) S") << 0 << ProcessStat::notKnown
                             << ProcessStat::notKnown;
    QTest::newRow("cut off after the parent") << QByteArray("12 (worker) S 11 12") << 11
                                              << ProcessStat::notKnown << ProcessStat::notKnown;
}

void TestProcessStat::readsWhatTheKernelWrites()
{
    QFETCH(QByteArray, text);
    QFETCH(int, parent);
    QFETCH(quint64, processorTime);
    QFETCH(quint64, memory);
    const ProcessStat stat = Cli::statIn(text);
    QCOMPARE(stat.parent, parent);
    QCOMPARE(stat.processorTime, processorTime);
    QCOMPARE(stat.memory, memory);
}

void TestProcessStat::readsItsOwnProcess()
{
    const ProcessStat stat = Cli::statOf(getpid(), Places::below(QString()));
    QCOMPARE(stat.parent, getppid());
    // A program with Qt is larger than a megabyte, and has used less than a minute.
    QVERIFY(stat.memory > 1000000 && stat.memory < 1000000000);
    QVERIFY(stat.processorTime < quint64(60000000000));
}

void TestProcessStat::addsUpExistingProcesses_data()
{
    QTest::addColumn<QVector<int>>("processes");
    QTest::addColumn<quint64>("processorTime");
    QTest::addColumn<quint64>("memory");
    QTest::newRow("one") << QVector<int>{2} << ticks(34) << pages(100);
    QTest::newRow("two") << QVector<int>{2, 3} << ticks(36) << pages(101);
    QTest::newRow("one that has ended") << QVector<int>{2, 9} << ticks(34) << pages(100);
    QTest::newRow("only one that has ended")
        << QVector<int>{9} << ProcessStat::notKnown << ProcessStat::notKnown;
    QTest::newRow("none") << QVector<int>{} << ProcessStat::notKnown << ProcessStat::notKnown;
}

void TestProcessStat::addsUpExistingProcesses()
{
    QFETCH(QVector<int>, processes);
    QFETCH(quint64, processorTime);
    QFETCH(quint64, memory);
    QVector<Cli::UnitProcess> own;
    for (const int pid : qAsConst(processes))
        own.append({pid, {}, 0});
    const ProcessStat sum = Cli::sumOf(own, Places::below(root->path()));
    QCOMPARE(sum.processorTime, processorTime);
    QCOMPARE(sum.memory, memory);
}

QTEST_GUILESS_MAIN(TestProcessStat)
#include "tst_process_stat.moc"

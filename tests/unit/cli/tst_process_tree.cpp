#include "cli/process_tree.h"
#include "support/literals.h"

#include <QTest>

class TestProcessTree : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void putsEachBelowItsParent_data();
    void putsEachBelowItsParent();
};

void TestProcessTree::putsEachBelowItsParent_data()
{
    // Pairs of process and parent; the expected tree is depth:process.
    QTest::addColumn<QVector<QPair<int, int>>>("processes");
    QTest::addColumn<QString>("tree");
    using Processes = QVector<QPair<int, int>>;
    QTest::newRow("none") << Processes{} << QString();
    QTest::newRow("a chain") << Processes{{3, 2}, {2, 1}, {5, 3}} << u"0:2 1:3 2:5"_s;
    QTest::newRow("siblings") << Processes{{9, 2}, {2, 1}, {4, 2}, {5, 4}} << u"0:2 1:4 2:5 1:9"_s;
    QTest::newRow("two children of systemd") << Processes{{9, 1}, {2, 1}} << u"0:2 0:9"_s;
    QTest::newRow("unknown parents") << Processes{{9, 0}, {2, 0}} << u"0:2 0:9"_s;
    QTest::newRow("a cycle") << Processes{{2, 3}, {3, 2}} << u"0:2 1:3"_s;
    QTest::newRow("its own parent") << Processes{{2, 2}} << u"0:2"_s;
}

void TestProcessTree::putsEachBelowItsParent()
{
    using Processes = QVector<QPair<int, int>>;
    QFETCH(Processes, processes);
    QFETCH(QString, tree);
    QVector<Cli::UnitProcess> all;
    for (const auto &[pid, parent] : processes)
        all.append({pid, {}, parent});
    QStringList lines;
    for (const Cli::TreeProcess &one : Cli::processTree(all))
        lines.append(u"%1:%2"_s.arg(one.depth).arg(one.process.pid));
    QCOMPARE(lines.join(QLatin1Char(' ')), tree);
}

QTEST_GUILESS_MAIN(TestProcessTree)
#include "tst_process_tree.moc"

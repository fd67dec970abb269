#include "cli/process_tree.h"

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
    QTest::newRow("a chain") << Processes{{3, 2}, {2, 1}, {5, 3}} << QStringLiteral("0:2 1:3 2:5");
    QTest::newRow("siblings") << Processes{{9, 2}, {2, 1}, {4, 2}, {5, 4}}
                              << QStringLiteral("0:2 1:4 2:5 1:9");
    QTest::newRow("two children of systemd")
        << Processes{{9, 1}, {2, 1}} << QStringLiteral("0:2 0:9");
    QTest::newRow("unknown parents") << Processes{{9, 0}, {2, 0}} << QStringLiteral("0:2 0:9");
    QTest::newRow("a cycle") << Processes{{2, 3}, {3, 2}} << QStringLiteral("0:2 1:3");
    QTest::newRow("its own parent") << Processes{{2, 2}} << QStringLiteral("0:2");
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
        lines.append(QStringLiteral("%1:%2").arg(one.depth).arg(one.process.pid));
    QCOMPARE(lines.join(QLatin1Char(' ')), tree);
}

QTEST_GUILESS_MAIN(TestProcessTree)
#include "tst_process_tree.moc"

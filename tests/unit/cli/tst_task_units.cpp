#include "cli/task_units.h"

#include <QTest>

class TestTaskUnits : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void findsTheTaskOfAUnit();
    void readsAnObjectsPath_data();
    void readsAnObjectsPath();
    void findsTheObjectOfAUnit_data();
    void findsTheObjectOfAUnit();
};

void TestTaskUnits::findsTheTaskOfAUnit()
{
    const QString id = QStringLiteral("com.example.Notes.task_sync");
    QCOMPARE(Cli::taskIdOfUnit(Cli::unitNameOf(id)), id);
    QCOMPARE(Cli::taskIdOfUnit(QStringLiteral("dbus.service")), QString());
    QCOMPARE(Cli::taskIdOfUnit(QStringLiteral("ov_task.x.timer")), QString());
}

void TestTaskUnits::readsAnObjectsPath_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("unit");
    const QString units = QStringLiteral("/org/freedesktop/systemd1/unit/");
    QTest::newRow("a task") << units + QStringLiteral("ov_5ftask_2ea_2eservice")
                            << QStringLiteral("ov_task.a.service");
    QTest::newRow("not of ASCII") << units + QStringLiteral("_c3_a4") << QString::fromUtf8("ä");
    QTest::newRow("a job") << QStringLiteral("/org/freedesktop/systemd1/job/5") << QString();
    QTest::newRow("cut off") << units + QStringLiteral("a_2") << QStringLiteral("a\x02");
}

void TestTaskUnits::readsAnObjectsPath()
{
    QFETCH(QString, path);
    QFETCH(QString, unit);
    QCOMPARE(Cli::unitOfObject(path), unit);
}

void TestTaskUnits::findsTheObjectOfAUnit_data()
{
    QTest::addColumn<QString>("unit");
    QTest::addColumn<QString>("label");
    QTest::newRow("a task") << QStringLiteral("ov_task.a1.service")
                            << QStringLiteral("ov_5ftask_2ea1_2eservice");
    QTest::newRow("a digit first") << QStringLiteral("1a") << QStringLiteral("_31a");
    QTest::newRow("not of ASCII") << QString::fromUtf8("ä") << QStringLiteral("_c3_a4");
}

void TestTaskUnits::findsTheObjectOfAUnit()
{
    QFETCH(QString, unit);
    QFETCH(QString, label);
    const QString path = Cli::objectOfUnit(unit);
    QCOMPARE(path, QStringLiteral("/org/freedesktop/systemd1/unit/") + label);
    QCOMPARE(Cli::unitOfObject(path), unit);
}

QTEST_GUILESS_MAIN(TestTaskUnits)
#include "tst_task_units.moc"

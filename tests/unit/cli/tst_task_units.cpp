#include "cli/task_units.h"
#include "support/literals.h"

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
    const QString id = u"com.example.Notes.task_sync"_s;
    QCOMPARE(Cli::taskIdOfUnit(Cli::unitNameOf(id)), id);
    QCOMPARE(Cli::taskIdOfUnit(u"dbus.service"_s), QString());
    QCOMPARE(Cli::taskIdOfUnit(u"ov_task.x.timer"_s), QString());
}

void TestTaskUnits::readsAnObjectsPath_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("unit");
    const QString units = u"/org/freedesktop/systemd1/unit/"_s;
    QTest::newRow("a task") << units + u"ov_5ftask_2ea_2eservice"_s << u"ov_task.a.service"_s;
    QTest::newRow("not of ASCII") << units + u"_c3_a4"_s << QString::fromUtf8("ä");
    QTest::newRow("a job") << u"/org/freedesktop/systemd1/job/5"_s << QString();
    QTest::newRow("cut off") << units + u"a_2"_s << u"a\x02"_s;
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
    QTest::newRow("a task") << u"ov_task.a1.service"_s << u"ov_5ftask_2ea1_2eservice"_s;
    QTest::newRow("a digit first") << u"1a"_s << u"_31a"_s;
    QTest::newRow("not of ASCII") << QString::fromUtf8("ä") << u"_c3_a4"_s;
}

void TestTaskUnits::findsTheObjectOfAUnit()
{
    QFETCH(QString, unit);
    QFETCH(QString, label);
    const QString path = Cli::objectOfUnit(unit);
    QCOMPARE(path, u"/org/freedesktop/systemd1/unit/"_s + label);
    QCOMPARE(Cli::unitOfObject(path), unit);
}

QTEST_GUILESS_MAIN(TestTaskUnits)
#include "tst_task_units.moc"

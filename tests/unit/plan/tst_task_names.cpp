#include "common/places.h"
#include "plan/task_names.h"
#include "support/literals.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QString taskId = u"com.example.Notes.task_sync"_s;

} // namespace

class TestTaskNames : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void namesTheUnitOfATask();
    void findsTheTaskOfAUnit_data();
    void findsTheTaskOfAUnit();
    void keepsItsFilesBelowTheRootPrefix();
    void keepsItsFilesInTheSystemWithoutARootPrefix();
};

void TestTaskNames::namesTheUnitOfATask()
{
    QCOMPARE(Core::unitNameOf(taskId), u"ov_task.com.example.Notes.task_sync.service"_s);
    QCOMPARE(Core::taskIdOfUnit(Core::unitNameOf(taskId)), taskId);
    QVERIFY(Core::unitNameOf(taskId).startsWith(Core::taskUnitPrefix()));
}

void TestTaskNames::findsTheTaskOfAUnit_data()
{
    QTest::addColumn<QString>("unitName");
    QTest::addColumn<QString>("expected");
    QTest::newRow("a task's unit") << u"ov_task.a.b.task_c.service"_s << u"a.b.task_c"_s;
    QTest::newRow("the suffix twice")
        << u"ov_task.a.b.task_c.service.service"_s << u"a.b.task_c.service"_s;
    QTest::newRow("a timer") << u"ov_task.a.b.task_c.timer"_s << QString();
    QTest::newRow("no suffix") << u"ov_task.a.b.task_c"_s << QString();
    QTest::newRow("the suffix in capitals") << u"ov_task.a.b.task_c.SERVICE"_s << QString();
    QTest::newRow("prefix and suffix share the dot") << u"ov_task.service"_s << QString();
    QTest::newRow("shorter than the prefix") << u"ov_"_s << QString();
    QTest::newRow("nothing") << QString() << QString();
    // Callers have already checked the prefix, so only its length is removed.
    QTest::newRow("eight other characters first")
        << u"12345678a.b.task_c.service"_s << u"a.b.task_c"_s;
}

void TestTaskNames::findsTheTaskOfAUnit()
{
    QFETCH(QString, unitName);
    QFETCH(QString, expected);
    QCOMPARE(Core::taskIdOfUnit(unitName), expected);
}

void TestTaskNames::keepsItsFilesBelowTheRootPrefix()
{
    const QTemporaryDir folder;
    const Places places = Places::below(folder.path());
    QCOMPARE(Core::unitFilePath(places, taskId),
             folder.path()
                 + u"/etc/systemd/system/"
                   "ov_task.com.example.Notes.task_sync.service"_s);
    QCOMPARE(Core::policyFilePath(places, taskId),
             folder.path() + u"/etc/dbus-1/system.d/com.example.Notes.task_sync.conf"_s);
    QVERIFY(QDir(folder.path()).isEmpty());
}

void TestTaskNames::keepsItsFilesInTheSystemWithoutARootPrefix()
{
    QCOMPARE(Core::unitFilePath(Places(), u"a"_s), u"/etc/systemd/system/ov_task.a.service"_s);
    QCOMPARE(Core::policyFilePath(Places(), u"a"_s), u"/etc/dbus-1/system.d/a.conf"_s);
}

QTEST_APPLESS_MAIN(TestTaskNames)
#include "tst_task_names.moc"

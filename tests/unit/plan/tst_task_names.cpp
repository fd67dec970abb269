#include "common/places.h"
#include "plan/task_names.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QString taskId = QStringLiteral("com.example.Notes.task_sync");

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
    QCOMPARE(Core::unitNameOf(taskId),
             QStringLiteral("ov_task.com.example.Notes.task_sync.service"));
    QCOMPARE(Core::taskIdOfUnit(Core::unitNameOf(taskId)), taskId);
    QVERIFY(Core::unitNameOf(taskId).startsWith(Core::taskUnitPrefix()));
}

void TestTaskNames::findsTheTaskOfAUnit_data()
{
    QTest::addColumn<QString>("unitName");
    QTest::addColumn<QString>("expected");
    QTest::newRow("a task's unit")
        << QStringLiteral("ov_task.a.b.task_c.service") << QStringLiteral("a.b.task_c");
    QTest::newRow("the suffix twice") << QStringLiteral("ov_task.a.b.task_c.service.service")
                                      << QStringLiteral("a.b.task_c.service");
    QTest::newRow("a timer") << QStringLiteral("ov_task.a.b.task_c.timer") << QString();
    QTest::newRow("no suffix") << QStringLiteral("ov_task.a.b.task_c") << QString();
    QTest::newRow("the suffix in capitals")
        << QStringLiteral("ov_task.a.b.task_c.SERVICE") << QString();
    QTest::newRow("prefix and suffix share the dot")
        << QStringLiteral("ov_task.service") << QString();
    QTest::newRow("shorter than the prefix") << QStringLiteral("ov_") << QString();
    QTest::newRow("nothing") << QString() << QString();
    // Callers have already checked the prefix, so only its length is removed.
    QTest::newRow("eight other characters first")
        << QStringLiteral("12345678a.b.task_c.service") << QStringLiteral("a.b.task_c");
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
                 + QStringLiteral("/etc/systemd/system/"
                                  "ov_task.com.example.Notes.task_sync.service"));
    QCOMPARE(Core::policyFilePath(places, taskId),
             folder.path()
                 + QStringLiteral("/etc/dbus-1/system.d/com.example.Notes.task_sync.conf"));
    QVERIFY(QDir(folder.path()).isEmpty());
}

void TestTaskNames::keepsItsFilesInTheSystemWithoutARootPrefix()
{
    QCOMPARE(Core::unitFilePath(Places(), QStringLiteral("a")),
             QStringLiteral("/etc/systemd/system/ov_task.a.service"));
    QCOMPARE(Core::policyFilePath(Places(), QStringLiteral("a")),
             QStringLiteral("/etc/dbus-1/system.d/a.conf"));
}

QTEST_APPLESS_MAIN(TestTaskNames)
#include "tst_task_names.moc"

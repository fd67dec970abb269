#include "common/Core/task_type_config.h"
#include "support/temp_root.h"

#include <QTest>

class TestTaskTypeConfig : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void worksInSessionByDefault();
    void saysWhetherItWorksInSession_data();
    void saysWhetherItWorksInSession();
    void prefersTheUsersFile();

private:
    TempRoot root;
};

void TestTaskTypeConfig::initTestCase()
{
    QCoreApplication::setApplicationName(QStringLiteral("orvane"));
    qputenv("XDG_DATA_HOME", root.path(QStringLiteral("/home/data")).toUtf8());
    qputenv("XDG_DATA_DIRS", root.path(QStringLiteral("/usr/share")).toUtf8());
}

void TestTaskTypeConfig::worksInSessionByDefault()
{
    QVERIFY(Core::TaskTypeConfig(QStringLiteral("None")).worksInSession());
    QVERIFY(Core::TaskTypeConfig(QString()).worksInSession());
    QVERIFY(Core::TaskTypeConfig(QStringLiteral("../../none")).worksInSession());
}

void TestTaskTypeConfig::saysWhetherItWorksInSession_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<bool>("works");
    QTest::newRow("false") << QByteArray("[TaskType]\nWorksInSession=false\n") << false;
    QTest::newRow("False") << QByteArray("[TaskType]\nWorksInSession=False\n") << false;
    QTest::newRow("0") << QByteArray("[TaskType]\nWorksInSession=0\n") << false;
    QTest::newRow("empty") << QByteArray("[TaskType]\nWorksInSession=\n") << false;
    QTest::newRow("true") << QByteArray("[TaskType]\nWorksInSession=true\n") << true;
    QTest::newRow("1") << QByteArray("[TaskType]\nWorksInSession=1\n") << true;
    QTest::newRow("TRUE") << QByteArray("[TaskType]\nWorksInSession=TRUE\n") << true;
    QTest::newRow("yes") << QByteArray("[TaskType]\nWorksInSession=Yes\n") << true;
    QTest::newRow("no") << QByteArray("[TaskType]\nWorksInSession=no\n") << false;
    QTest::newRow("on") << QByteArray("[TaskType]\nWorksInSession=ON\n") << true;
    QTest::newRow("off") << QByteArray("[TaskType]\nWorksInSession=off\n") << false;
    QTest::newRow("another number") << QByteArray("[TaskType]\nWorksInSession=-2\n") << true;
    QTest::newRow("no boolean") << QByteArray("[TaskType]\nWorksInSession=perhaps\n") << false;
    QTest::newRow("a list") << QByteArray("[TaskType]\nWorksInSession=true, true\n") << false;
    QTest::newRow("another group") << QByteArray("[Other]\nWorksInSession=false\n") << true;
    QTest::newRow("no group") << QByteArray("WorksInSession=false\n") << true;
    QTest::newRow("far too large")
        << QByteArray("[TaskType]\nWorksInSession=false\n") + QByteArray(2 << 20, ';') << true;
    QTest::newRow("binary") << QByteArray("\0\x1\x2[\xff", 5) << true;
}

void TestTaskTypeConfig::saysWhetherItWorksInSession()
{
    QFETCH(QByteArray, text);
    QFETCH(bool, works);
    // A file of its own: the settings reader may keep what it read of one.
    static int number = 0;
    const QString type = QStringLiteral("Type%1").arg(++number);
    root.write(QStringLiteral("/usr/share/orvane/task-types/%1.conf").arg(type), text);
    QCOMPARE(Core::TaskTypeConfig(type).worksInSession(), works);
}

void TestTaskTypeConfig::prefersTheUsersFile()
{
    root.serveType(QStringLiteral("Both"));
    root.write(QStringLiteral("/home/data/orvane/task-types/Both.conf"),
               "[TaskType]\nWorksInSession=true\n");
    QVERIFY(Core::TaskTypeConfig(QStringLiteral("Both")).worksInSession());
}

QTEST_GUILESS_MAIN(TestTaskTypeConfig)
#include "tst_task_type_config.moc"

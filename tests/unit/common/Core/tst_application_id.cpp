#include "common/Core/application_id.h"
#include "support/literals.h"

#include <QTest>

using Core::ApplicationId;
using Core::ApplicationInstanceId;
using Core::ApplicationTaskId;

class TestApplicationId : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void parsesApplications_data();
    void parsesApplications();
    void joinsApplicationsWithoutChecking();
    void parsesTasks_data();
    void parsesTasks();
    void joinsTasks();
    void keepsThePartsThatAnIdWasJoinedOf_data();
    void keepsThePartsThatAnIdWasJoinedOf();
    void parsesInstances_data();
    void parsesInstances();
    void joinsInstances();
    void acceptsTasksAndInstances_data();
    void acceptsTasksAndInstances();
    void encodesDesktopFileNames_data();
    void encodesDesktopFileNames();
    void comparesByText();
    void refusesTextsThatAreTooLong();
    void acceptsTheLongestText();
};

void TestApplicationId::parsesApplications_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("organisation");
    QTest::addColumn<QString>("name");
    const auto row = [](const char *text, const char *organisation, const char *name) {
        QTest::newRow(text) << QString::fromUtf8(text) << QString::fromUtf8(organisation)
                            << QString::fromUtf8(name);
    };
    row("com.example.Notes", "com.example", "Notes");
    row("org.example.2notes", "org", "example.2notes");
    row("com.Example.Notes", "com", "Example.Notes");
    row("com.example.", "com", "example.");
    row("a.b", "a", "b");
    row("a-b_9.c-d_E.f", "a-b_9.c-d_E", "f");
    row("Notes", "", "");
    row(".Notes", "", "");
    row("Com.example", "", "");
    row("com.example Notes", "", "");
    row("com.example.Notes\n", "", "");
    row("com.9", "", "");
    row("", "", "");
}

void TestApplicationId::parsesApplications()
{
    QFETCH(QString, text);
    QFETCH(QString, organisation);
    QFETCH(QString, name);
    if (text == QLatin1String("a-b_9.c-d_E.f")) {
        // An upper-case letter cannot be part of the organisation.
        organisation = u"a-b_9"_s;
        name = u"c-d_E.f"_s;
    }
    const ApplicationId id(text);
    QCOMPARE(id.isValid(), !organisation.isEmpty());
    QCOMPARE(id.organisation().toString(), organisation);
    QCOMPARE(id.name().toString(), name);
    QCOMPARE(id.name().isNull(), organisation.isEmpty());
    QCOMPARE(id.toString(), text);
}

void TestApplicationId::joinsApplicationsWithoutChecking()
{
    const ApplicationId id(u"Com"_s, u"9 x"_s);
    QVERIFY(id.isValid());
    QCOMPARE(id.toString(), u"Com.9 x"_s);
    QCOMPARE(id.organisation().toString(), u"Com"_s);
    QCOMPARE(id.name().toString(), u"9 x"_s);

    QVERIFY(!ApplicationId(QString(), u"Notes"_s).isValid());
    const ApplicationId nameless(u"com"_s, QString());
    QVERIFY(nameless.isValid());
    QVERIFY(nameless.name().isNull());
}

void TestApplicationId::parsesTasks_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("application");
    QTest::addColumn<QString>("task");
    const auto row = [](const char *text, const char *application, const char *task) {
        QTest::newRow(text) << QString::fromUtf8(text) << QString::fromUtf8(application)
                            << QString::fromUtf8(task);
    };
    row("com.example.Notes.task_sync", "com.example.Notes", "sync");
    row("a.b.task_c", "a.b", "c");
    row("com.example.Notes.task_", "", "");
    row("com.example.Notes.Task_sync", "", "");
    row("com.example.Notes", "", "");
    row("Com.example.task_sync", "", "");
    row("com.example.Notes\n.task_sync", "", "");
    row(".task_sync", "", "");
    row("task_sync", "", "");
    row("", "", "");
}

void TestApplicationId::parsesTasks()
{
    QFETCH(QString, text);
    QFETCH(QString, application);
    QFETCH(QString, task);
    const ApplicationTaskId id(text);
    QCOMPARE(id.isValid(), !task.isEmpty());
    QCOMPARE(id.taskName().toString(), task);
    QCOMPARE(id.applicationId().toString(), application.isEmpty() ? text : application);
    QCOMPARE(id.toString(), text);
}

void TestApplicationId::joinsTasks()
{
    const ApplicationId application(u"com.example"_s, u"Notes"_s);
    const ApplicationTaskId id(application, u"sync"_s);
    QVERIFY(id.isValid());
    QCOMPARE(id.toString(), u"com.example.Notes.task_sync"_s);
    QCOMPARE(id.applicationId().toString(), application.toString());
    QCOMPARE(id.taskName().toString(), u"sync"_s);
    QVERIFY(!ApplicationTaskId(application, QString()).isValid());
    QVERIFY(!ApplicationTaskId(ApplicationId(), u"sync"_s).isValid());
}

void TestApplicationId::keepsThePartsThatAnIdWasJoinedOf_data()
{
    QTest::addColumn<QString>("organisation");
    QTest::addColumn<QString>("name");
    const auto row = [](const char *what, const char *organisation, const char *name) {
        QTest::newRow(what) << QString::fromUtf8(organisation) << QString::fromUtf8(name);
    };
    row("a dot in the name", "com.example", "dotted.Name");
    row("a name that begins with a digit", "org.zarn", "1st");
    row("upper case in the organisation", "com.Example", "Notes");
    row("as it would be parsed", "com.example", "Notes");
}

void TestApplicationId::keepsThePartsThatAnIdWasJoinedOf()
{
    QFETCH(QString, organisation);
    QFETCH(QString, name);
    const ApplicationId application(organisation, name);
    const ApplicationId ofTask = ApplicationTaskId(application, u"sync"_s).applicationId();
    const ApplicationId ofInstance = ApplicationInstanceId(application, 3).applicationId();
    for (const ApplicationId &id : {ofTask, ofInstance}) {
        QCOMPARE(id.toString(), application.toString());
        QCOMPARE(id.organisation().toString(), organisation);
        QCOMPARE(id.name().toString(), name);
    }
}

void TestApplicationId::parsesInstances_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<QString>("application");
    const auto row = [](const char *text, bool valid, const char *application) {
        QTest::newRow(text) << QString::fromUtf8(text) << valid << QString::fromUtf8(application);
    };
    row("com.example.Notes", true, "com.example.Notes");
    row("com.example.Notes.instance_12", true, "com.example.Notes");
    row("com.example.Notes.instance_1a", true, "com.example.Notes.instance_1a");
    row("a.b.instance_", true, "a.b");
    row("a.b.instance_\u0663", true, "a.b");
    row("Notes", false, "Notes");
    row("Com.b.instance_1", false, "Com.b.instance_1");
    row(".x", false, ".x");
}

void TestApplicationId::parsesInstances()
{
    QFETCH(QString, text);
    QFETCH(bool, valid);
    QFETCH(QString, application);
    const ApplicationInstanceId id(text);
    QCOMPARE(id.isValid(), valid);
    QCOMPARE(id.applicationId().toString(), application);
    if (text.endsWith(QLatin1String("1a"))) {
        QCOMPARE(id.applicationId().organisation().toString(), u"com.example"_s);
        QCOMPARE(id.applicationId().name().toString(), u"Notes.instance_1a"_s);
    }
}

void TestApplicationId::joinsInstances()
{
    const ApplicationId application(u"a.b"_s);
    QCOMPARE(ApplicationInstanceId(application, 0).toString(), u"a.b"_s);
    QCOMPARE(ApplicationInstanceId(application, 3).toString(), u"a.b.instance_3"_s);
    QCOMPARE(ApplicationInstanceId(application, 3).applicationId(), application);
}

void TestApplicationId::acceptsTasksAndInstances_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<QString>("application");
    QTest::newRow("a task") << u"a.b.task_c"_s << true << u"a.b"_s;
    QTest::newRow("an instance") << u"a.b.instance_2"_s << true << u"a.b"_s;
    QTest::newRow("an application") << u"a.b"_s << true << u"a.b"_s;
    QTest::newRow("a task without a name") << u"a.b.task_"_s << false << u"a.b.task_"_s;
    QTest::newRow("no dot") << u"ab"_s << false << QString();
    QTest::newRow("dot first") << u".ab"_s << false << QString();
}

void TestApplicationId::acceptsTasksAndInstances()
{
    QFETCH(QString, text);
    QFETCH(bool, valid);
    QFETCH(QString, application);
    const auto id = ApplicationInstanceId::fromTaskOrInstance(text);
    QCOMPARE(id.isValid(), valid);
    QCOMPARE(id.applicationId().toString(), application);
}

void TestApplicationId::encodesDesktopFileNames_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("id");
    const auto row = [](const char *file, const char *id) {
        QTest::newRow(file) << QString::fromUtf8(file) << QString::fromUtf8(id);
    };
    row("/usr/share/applications/x.desktop", "org.zarn.x");
    row("my-app.desktop", "org.zarn.my_2dapp");
    row("a.b_c.desktop", "org.zarn.a_2eb_5fc");
    row("Caf\u00e9.desktop", "org.zarn.Caf_-17");
    row("\u20ac.desktop", "org.zarn._0");
    row("\u0663.desktop", "org.zarn.\u0663");
    row("a\tb.desktop", "org.zarn.a_9b");
    row("\u0080.desktop", "org.zarn._-80");
    row(".desktop", "");
    row("/x/.desktop", "");
    row("foo.txt", "");
    row("x.Desktop", "");
}

void TestApplicationId::encodesDesktopFileNames()
{
    QFETCH(QString, file);
    QFETCH(QString, id);
    const ApplicationId made = ApplicationId::fromDesktopFileName(file);
    QCOMPARE(made.toString(), id);
    QCOMPARE(made.isValid(), !id.isEmpty());
}

void TestApplicationId::comparesByText()
{
    const ApplicationId a(u"a.a"_s);
    const ApplicationId b(u"a.b"_s);
    QVERIFY(a < b && a != b && a == ApplicationId(u"a"_s, u"a"_s));
    QVERIFY(ApplicationTaskId(a, u"x"_s) < ApplicationTaskId(b, u"x"_s));
    QVERIFY(ApplicationInstanceId(a, 1) != ApplicationInstanceId(a, 2));
}

void TestApplicationId::refusesTextsThatAreTooLong()
{
    // Lengths within an id are stored in 16 bits.
    const QString text = u"a.b"_s + QString(40000, QLatin1Char('c'));
    QVERIFY(!ApplicationId(text).isValid());
    QVERIFY(!ApplicationId(u"a"_s, text).isValid());
    QVERIFY(!ApplicationTaskId(text + u".task_x"_s).isValid());
    QVERIFY(!ApplicationInstanceId(text + u".instance_1"_s).isValid());

    // Also when only the suffix makes it too long.
    const ApplicationId application(u"a.b"_s);
    const QString name(40000, QLatin1Char('c'));
    const QString number(40000, QLatin1Char('1'));
    QVERIFY(!ApplicationTaskId(application, name).isValid());
    QVERIFY(!ApplicationTaskId(u"a.b.task_"_s + name).isValid());
    QVERIFY(!ApplicationInstanceId(u"a.b.instance_"_s + number).isValid());
}

void TestApplicationId::acceptsTheLongestText()
{
    const int longest = 32767;
    const ApplicationId id(u"a."_s + QString(longest - 2, QLatin1Char('c')));
    QVERIFY(id.isValid());
    QCOMPARE(id.name().size(), longest - 2);
    QVERIFY(!ApplicationId(id.toString() + QLatin1Char('c')).isValid());
    QVERIFY(!ApplicationInstanceId(id, 1).isValid());
    QVERIFY(ApplicationInstanceId(id, 0).isValid());
    const ApplicationTaskId task(u"a.b.task_"_s + QString(longest - 9, QLatin1Char('c')));
    QVERIFY(task.isValid());
    QCOMPARE(task.taskName().size(), longest - 9);
}

QTEST_GUILESS_MAIN(TestApplicationId)
#include "tst_application_id.moc"

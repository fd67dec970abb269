#include "cli/declared_tasks.h"
#include "support/literals.h"
#include "support/temp_root.h"

#include <QTest>

class TestDeclaredTasks : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void listsWhatIsDeclared();
    void findsOneTask();
    void listsTypesWithTheirFile();

private:
    TempRoot root;
};

void TestDeclaredTasks::initTestCase()
{
    for (const QString &variable : root.environment()) {
        const auto equals = variable.indexOf(QLatin1Char('='));
        qputenv(variable.left(equals).toUtf8().constData(), variable.mid(equals + 1).toUtf8());
    }
    QCoreApplication::setApplicationName(u"orvane"_s);
    root.serveType(u"Sync"_s);
    root.serveType(u"deep/Unused"_s);
    root.writeApplication(u"Notes"_s,
                          "[X-Task sync]\nType=Sync\nExec=/opt/n\n"
                          "[X-Task alarm]\nType=Alarm\nExec=/opt/n\n");
    root.writeApplication(u"Mail"_s, "[X-Task sync]\nType=Sync\nExec=/opt/m\n");
}

void TestDeclaredTasks::listsWhatIsDeclared()
{
    QStringList ids;
    for (const Cli::DeclaredTask &task : Cli::declaredTasks())
        ids.append(task.taskId.toString());
    QCOMPARE(ids,
             QStringList({u"com.example.Mail.task_sync"_s, u"com.example.Notes.task_alarm"_s,
                          u"com.example.Notes.task_sync"_s}));
}

void TestDeclaredTasks::findsOneTask()
{
    QCOMPARE(Cli::declaredTask(u"com.example.Notes.task_alarm"_s).type, u"Alarm"_s);
    QVERIFY(!Cli::declaredTask(u"com.example.Notes.task_none"_s).taskId.isValid());
    QVERIFY(!Cli::declaredTask(u"rubbish"_s).taskId.isValid());
}

void TestDeclaredTasks::listsTypesWithTheirFile()
{
    QStringList lines;
    for (const Cli::TaskType &type : Cli::taskTypes())
        lines.append(u"%1 %2 %3 %4"_s.arg(type.name, type.worksInSession ? u"user"_s : u"system"_s)
                         .arg(type.tasks)
                         .arg(type.file.mid(root.path().size())));
    QCOMPARE(
        lines,
        QStringList({u"Alarm user 1 "_s, u"Sync system 2 /usr/share/orvane/task-types/Sync.conf"_s,
                     u"deep/Unused system 0 "
                     "/usr/share/orvane/task-types/deep/Unused.conf"_s}));
}

QTEST_GUILESS_MAIN(TestDeclaredTasks)
#include "tst_declared_tasks.moc"

#include "cli/declared_tasks.h"
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
    QCoreApplication::setApplicationName(QStringLiteral("orvane"));
    root.serveType(QStringLiteral("Sync"));
    root.serveType(QStringLiteral("deep/Unused"));
    root.writeApplication(QStringLiteral("Notes"),
                          "[X-Task sync]\nType=Sync\nExec=/opt/n\n"
                          "[X-Task alarm]\nType=Alarm\nExec=/opt/n\n");
    root.writeApplication(QStringLiteral("Mail"), "[X-Task sync]\nType=Sync\nExec=/opt/m\n");
}

void TestDeclaredTasks::listsWhatIsDeclared()
{
    QStringList ids;
    for (const Cli::DeclaredTask &task : Cli::declaredTasks())
        ids.append(task.taskId.toString());
    QCOMPARE(ids,
             QStringList({QStringLiteral("com.example.Mail.task_sync"),
                          QStringLiteral("com.example.Notes.task_alarm"),
                          QStringLiteral("com.example.Notes.task_sync")}));
}

void TestDeclaredTasks::findsOneTask()
{
    QCOMPARE(Cli::declaredTask(QStringLiteral("com.example.Notes.task_alarm")).type,
             QStringLiteral("Alarm"));
    QVERIFY(!Cli::declaredTask(QStringLiteral("com.example.Notes.task_none")).taskId.isValid());
    QVERIFY(!Cli::declaredTask(QStringLiteral("rubbish")).taskId.isValid());
}

void TestDeclaredTasks::listsTypesWithTheirFile()
{
    QStringList lines;
    for (const Cli::TaskType &type : Cli::taskTypes())
        lines.append(
            QStringLiteral("%1 %2 %3 %4")
                .arg(type.name,
                     type.worksInSession ? QStringLiteral("user") : QStringLiteral("system"))
                .arg(type.tasks)
                .arg(type.file.mid(root.path().size())));
    QCOMPARE(lines,
             QStringList({QStringLiteral("Alarm user 1 "),
                          QStringLiteral("Sync system 2 /usr/share/orvane/task-types/Sync.conf"),
                          QStringLiteral("deep/Unused system 0 "
                                         "/usr/share/orvane/task-types/deep/Unused.conf")}));
}

QTEST_GUILESS_MAIN(TestDeclaredTasks)
#include "tst_declared_tasks.moc"

// orvanectl doctor

#include "cli/commands/all.h"
#include "cli/doctor/checkup.h"
#include "cli/doctor/first_boot.h"
#include "cli/exit_status.h"
#include "cli/output.h"
#include "common/places.h"

#include <QJsonArray>

#include <algorithm>
#include <optional>

namespace Cli {

namespace {

/// The result of the checks.
struct Found
{
    QVector<Gate> gates;
    /// Only for an image.
    std::optional<FirstBoot> boot;
};

int countOf(Gate::Answer answer, const QVector<Gate> &gates)
{
    return static_cast<int>(std::count_if(gates.cbegin(), gates.cend(), [answer](const Gate &gate) {
        return gate.answer == answer;
    }));
}

QString verdictOn(const QVector<Gate> &gates)
{
    const int shut = countOf(Gate::No, gates);
    const int unknown = countOf(Gate::NotKnown, gates);
    const QString notKnown =
        unknown == 0 ? QString() : QStringLiteral(", %1 not known").arg(unknown);
    if (shut == 0)
        return QStringLiteral("Nothing is missing") + notKnown + QLatin1Char('.');
    return QStringLiteral("Of %1 things that are needed, %2 missing%3.")
        .arg(gates.size())
        .arg(shut == 1 ? QStringLiteral("one is") : QStringLiteral("%1 are").arg(shut), notKnown);
}

QString placeOf(const ApplicationAtSession &application)
{
    return application.line > 0
        ? QStringLiteral("%1:%2").arg(application.file).arg(application.line)
        : application.file;
}

// Paths are long, so each is on a line of its own and is not wrapped.
QStringList linesOf(const FirstBoot &boot)
{
    QStringList lines{QString(), QStringLiteral("On its first boot:")};
    const auto add = [&lines](const QString &what, const QString &file) {
        lines.append(QStringLiteral("  ") + printable(what));
        lines.append(QStringLiteral("    ") + printable(file));
    };
    for (const TaskAtBoot &task : boot.tasks)
        add(task.user.isEmpty() ? task.task : QStringLiteral("%1 as %2").arg(task.task, task.user),
            task.unitFile);
    for (const ApplicationAtSession &application : boot.applications) {
        add(QStringLiteral("%1 with the session of %2")
                .arg(application.application,
                     application.user.isEmpty() ? QStringLiteral("every user") : application.user),
            placeOf(application));
    }
    if (boot.tasks.isEmpty() && boot.applications.isEmpty())
        lines.append(QStringLiteral("  no task and no application starts"));
    return lines;
}

QJsonArray objectsOf(const QVector<TaskAtBoot> &tasks)
{
    QJsonArray objects;
    for (const TaskAtBoot &task : tasks)
        objects.append(QJsonObject{{QStringLiteral("task"), task.task},
                                   {QStringLiteral("user"), task.user},
                                   {QStringLiteral("file"), task.unitFile}});
    return objects;
}

QJsonArray objectsOf(const QVector<ApplicationAtSession> &applications)
{
    QJsonArray objects;
    for (const ApplicationAtSession &application : applications) {
        QJsonObject object{{QStringLiteral("application"), application.application},
                           {QStringLiteral("file"), application.file}};
        if (!application.user.isEmpty())
            object.insert(QStringLiteral("user"), application.user);
        if (application.line > 0)
            object.insert(QStringLiteral("line"), application.line);
        objects.append(object);
    }
    return objects;
}

void print(const Found &found, Output &output)
{
    if (!output.isJson()) {
        const QStringList boot = found.boot ? linesOf(*found.boot) : QStringList();
        output.print(linesOf(found.gates, output) + QStringList{verdictOn(found.gates)} + boot);
        return;
    }
    QJsonObject object{{QStringLiteral("complete"), firstShut(found.gates) == nullptr},
                       {QStringLiteral("gates"), objectsOf(found.gates)}};
    if (found.boot) {
        object.insert(QStringLiteral("tasksAtBoot"), objectsOf(found.boot->tasks));
        object.insert(QStringLiteral("applicationsAtSession"), objectsOf(found.boot->applications));
    }
    output.print(object);
}

int run(const Request &, Output &output)
{
    const Places places = Places::ofProcess();
    // With --root, programs are looked up below another root. The path prefix from the environment
    // does not do this.
    const bool isImage = !places.programRoot.isEmpty();
    const Found found =
        isImage ? Found{checkImage(places), firstBootOf(places)} : Found{checkSystem(places), {}};
    print(found, output);
    return firstShut(found.gates) == nullptr ? Done : No;
}

QStringList description()
{
    return {
        QStringLiteral("Checks for everything that Orvane needs from a system. Shows for each "
                       "whether it is there (yes, no, or ? when that cannot be found out), how "
                       "that is known, what does not work without it, and the command that fixes "
                       "it if there is one. The exit status is 1 when anything is missing."),
        QStringLiteral(
            "Changes nothing, and needs no privileges. It calls the daemon, which starts it, and "
            "runs the sandbox once with the options of a task and a program that does nothing. "
            "What only root may see is shown as ? to other users."),
        QStringLiteral(
            "With --root it checks the files of an image, and lists what would run on its first "
            "boot: tasks whose units are enabled and applications that start with a session.")};
}

QVector<QPair<QString, QString>> fields()
{
    return {
        {QStringLiteral("complete"), QStringLiteral("whether no answer is \"no\"")},
        {QStringLiteral("gates"), QStringLiteral("an array of objects with these fields")},
        {QStringLiteral("gate"), QStringLiteral("what is checked, in a few words")},
        {QStringLiteral("answer"), QStringLiteral("\"yes\", \"no\" or \"unknown\"")},
        {QStringLiteral("evidence"), QStringLiteral("how that is known")},
        {QStringLiteral("consequence"), QStringLiteral("what does not work without it")},
        {QStringLiteral("cure"), QStringLiteral("a command that fixes it, if there is one")},
        {QStringLiteral("tasksAtBoot"),
         QStringLiteral("with --root, an array of objects with task, user and file (the unit)")},
        {QStringLiteral("applicationsAtSession"),
         QStringLiteral("with --root, an array of objects with application, file, line and user; "
                        "without user, it starts for every user who has no setting of their own")}};
}

} // namespace

Command doctorCommand()
{
    Command command;
    command.name = QStringLiteral("doctor");
    command.summary = QStringLiteral("check whether a system has what Orvane needs");
    command.description = description();
    command.fields = fields();
    command.run = run;
    return command;
}

} // namespace Cli

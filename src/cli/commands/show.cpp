// orvanectl show

#include "cli/commands/all.h"
#include "cli/declared_tasks.h"
#include "cli/exit_status.h"
#include "cli/journal.h"
#include "cli/output.h"
#include "cli/task_declaration.h"
#include "cli/task_status.h"
#include "cli/task_units.h"
#include "cli/words.h"
#include "common/places.h"

#include <QJsonArray>

namespace Cli {

namespace {

constexpr int logLineCount = 10;

/// Everything that is known about a task.
struct Shown
{
    QString id;
    TaskDeclaration declaration;
    TaskStatus status;
    LogEnd log;
    /// Whether status and log apply; false for an image, where nothing runs.
    bool isLive = true;

    [[nodiscard]] bool isDeclared() const { return declaration.task.taskId.isValid(); }
    [[nodiscard]] bool isOfSession() const
    {
        return isDeclared() && declaration.type.worksInSession;
    }
};

/// Lines with a label and a value.
class Lines
{
public:
    explicit Lines(int width)
        : m_width(width)
    {
    }
    void add(const QString &label, const QString &value)
    {
        const QString line = label.leftJustified(labelWidth) + printable(value);
        if (m_width <= 0 || displayWidth(line) <= m_width) {
            all.append(line);
            return;
        }
        QStringList lines = wrapped(printable(value), labelWidth, m_width);
        lines.first().replace(0, labelWidth, label.leftJustified(labelWidth));
        all += lines;
    }
    // For command lines, which may be very long.
    void addCut(const QString &label, const QString &value)
    {
        const QString line = label.leftJustified(labelWidth) + printable(value);
        all.append(m_width > 0 ? shortened(line, m_width) : line);
    }

    QStringList all;

private:
    static constexpr int labelWidth = 13;
    const int m_width;
};

void addDeclaration(Lines &lines, const Shown &shown)
{
    if (!shown.isDeclared()) {
        lines.add(QStringLiteral("Declared"),
                  QStringLiteral("no longer, by any installed application"));
        return;
    }
    const TaskDeclaration &declaration = shown.declaration;
    lines.add(QStringLiteral("Declared"), placeOf(declaration.task.file, declaration.line));
    for (const DeclaredKey &key : declaration.keys)
        lines.add(key.name,
                  key.line > 0 ? QStringLiteral("%1 (line %2)").arg(key.value).arg(key.line)
                               : key.value);
    const TaskType &type = declaration.type;
    lines.add(QStringLiteral("Served by"),
              QStringLiteral("%1 (%2)").arg(serverOf(type.worksInSession),
                                            type.file.isEmpty()
                                                ? QStringLiteral("the default, no file sets it")
                                                : type.file));
}

void addProcesses(Lines &lines, const TaskStatus &status)
{
    QString label = QStringLiteral("Processes");
    for (const TreeProcess &one : status.processes) {
        lines.addCut(label,
                     QString(2 * one.depth, QLatin1Char(' '))
                         + QStringLiteral("%1 %2").arg(one.process.pid).arg(one.process.command));
        label.clear();
    }
}

void addLog(Lines &lines, const LogEnd &log)
{
    QString label = QStringLiteral("Log");
    if (!log.reason.isEmpty())
        lines.add(label, log.reason);
    for (const LogLine &line : log.lines) {
        lines.add(label, momentOf(line.moment) + QLatin1Char(' ') + line.text);
        label.clear();
    }
}

QString stateText(const TaskStatus &status)
{
    QString text = status.state();
    if (status.since > 0)
        text += QStringLiteral(" since ") + momentOf(status.since);
    return status.pid > 0 ? text + QStringLiteral(", process %1").arg(status.pid) : text;
}

void addStatus(Lines &lines, const Shown &shown)
{
    const TaskStatus &status = shown.status;
    lines.add(QStringLiteral("Unit"), unitNameOf(shown.id));
    lines.add(QStringLiteral("State"), stateText(status));
    lines.add(QStringLiteral("At boot"), yesOrNo(status.isAtBoot));
    lines.add(QStringLiteral("CPU time"), processorTimeOf(status.processorTime));
    lines.add(QStringLiteral("Memory"),
              QStringLiteral("%1 now, %2 at most")
                  .arg(bytesOf(status.memory), bytesOf(status.memoryPeak)));
    lines.add(QStringLiteral("Last result"),
              status.hasResult() ? status.result.toString() : unknown());
    addProcesses(lines, status);
    addLog(lines, shown.log);
}

QStringList linesOf(const Shown &shown, int width)
{
    Lines lines(width);
    lines.add(QStringLiteral("Task"), shown.id);
    addDeclaration(lines, shown);
    if (shown.isLive && shown.isOfSession())
        lines.add(QStringLiteral("State"), QStringLiteral("known to the per-user service only"));
    else if (shown.isLive)
        addStatus(lines, shown);
    return lines.all;
}

void addDeclaration(QJsonObject &object, const Shown &shown)
{
    object.insert(QStringLiteral("declared"), shown.isDeclared());
    if (!shown.isDeclared())
        return;
    const TaskDeclaration &declaration = shown.declaration;
    QJsonArray keys;
    for (const DeclaredKey &key : declaration.keys)
        keys.append(QJsonObject{{QStringLiteral("key"), key.name},
                                {QStringLiteral("value"), key.value},
                                {QStringLiteral("line"), key.line}});
    object.insert(QStringLiteral("file"), declaration.task.file);
    object.insert(QStringLiteral("line"), declaration.line);
    object.insert(QStringLiteral("keys"), keys);
    object.insert(QStringLiteral("type"), declaration.task.type);
    object.insert(QStringLiteral("servedBy"), serverOf(declaration.type.worksInSession));
    object.insert(QStringLiteral("typeFile"), declaration.type.file);
}

void addQuantity(QJsonObject &object, const QString &name, quint64 quantity)
{
    if (isKnown(quantity))
        object.insert(name, static_cast<qint64>(quantity));
}

QJsonArray processesOf(const TaskStatus &status)
{
    QJsonArray processes;
    for (const TreeProcess &one : status.processes)
        processes.append(QJsonObject{{QStringLiteral("pid"), one.process.pid},
                                     {QStringLiteral("parent"), one.process.parent},
                                     {QStringLiteral("command"), one.process.command}});
    return processes;
}

QJsonArray logOf(const LogEnd &log)
{
    QJsonArray lines;
    for (const LogLine &line : log.lines)
        lines.append(QJsonObject{{QStringLiteral("time"), isoMomentOf(line.moment)},
                                 {QStringLiteral("text"), line.text}});
    return lines;
}

void addStatus(QJsonObject &object, const Shown &shown)
{
    const TaskStatus &status = shown.status;
    object.insert(QStringLiteral("unit"), unitNameOf(shown.id));
    object.insert(QStringLiteral("state"), status.state());
    object.insert(QStringLiteral("atBoot"), status.isAtBoot);
    if (status.pid > 0)
        object.insert(QStringLiteral("pid"), status.pid);
    if (status.since > 0)
        object.insert(QStringLiteral("since"), isoMomentOf(status.since));
    addQuantity(object, QStringLiteral("cpuNanoseconds"), status.processorTime);
    addQuantity(object, QStringLiteral("memoryBytes"), status.memory);
    addQuantity(object, QStringLiteral("memoryPeakBytes"), status.memoryPeak);
    if (status.hasResult())
        status.result.addTo(object);
    object.insert(QStringLiteral("processes"), processesOf(status));
    object.insert(QStringLiteral("log"), logOf(shown.log));
    if (!shown.log.reason.isEmpty())
        object.insert(QStringLiteral("noLogBecause"), shown.log.reason);
}

QJsonObject objectOf(const Shown &shown)
{
    QJsonObject object{{QStringLiteral("task"), shown.id}};
    addDeclaration(object, shown);
    if (shown.isLive && !shown.isOfSession())
        addStatus(object, shown);
    return object;
}

int run(const Request &request, Output &output)
{
    Shown shown;
    shown.id = request.arguments.value(0);
    shown.declaration = declarationOf(shown.id);
    shown.isLive = !request.has(QStringLiteral("root"));
    if (shown.isLive && !shown.isOfSession()) {
        Systemd systemd(QDBusConnection::systemBus());
        if (const auto outcome = readStatus(systemd, unitNameOf(shown.id), shown.status))
            return Output::fail(outcome);
        shown.log = lastLogLines(unitNameOf(shown.id), logLineCount, Places::ofProcess().root);
    }
    if (!shown.isDeclared() && shown.status.activeState.isEmpty()) {
        return Output::fail(No, notDeclared(shown.id));
    }
    if (output.isJson())
        output.print(objectOf(shown));
    else
        output.print(linesOf(shown, output.terminal().width));
    return Done;
}

QVector<QPair<QString, QString>> fields()
{
    return {
        {QStringLiteral("task"), QStringLiteral("the full id")},
        {QStringLiteral("declared"),
         QStringLiteral("whether an installed application declares it; without this, file, line, "
                        "keys, type, servedBy and typeFile are absent")},
        {QStringLiteral("file"), QStringLiteral("the desktop entry")},
        {QStringLiteral("line"), QStringLiteral("the line where its group begins")},
        {QStringLiteral("keys"),
         QStringLiteral("an array of the keys that it declares: objects with key, value and line")},
        {QStringLiteral("type"), QStringLiteral("its type")},
        {QStringLiteral("servedBy"), QStringLiteral("\"system\" or \"user\"")},
        {QStringLiteral("typeFile"),
         QStringLiteral("the file that sets servedBy; empty if there is none")},
        {QStringLiteral("unit"),
         QStringLiteral("its unit; this and the fields below are absent for a task of the user's "
                        "session and with --root")},
        {QStringLiteral("state"), QStringLiteral("as in tasks; so are atBoot, pid and since")},
        {QStringLiteral("cpuNanoseconds"),
         QStringLiteral("processor time of this run; without systemd's accounting, that of its "
                        "present processes")},
        {QStringLiteral("memoryBytes"),
         QStringLiteral(
             "memory now; without systemd's accounting, the resident memory of its processes")},
        {QStringLiteral("memoryPeakBytes"), QStringLiteral("peak memory of this run")},
        {QStringLiteral("result"),
         QStringLiteral("systemd's result of the last run, with exitStatus or signal, and reason "
                        "as text; absent while it runs")},
        {QStringLiteral("processes"),
         QStringLiteral("an array of objects with pid, parent and command")},
        {QStringLiteral("log"), QStringLiteral("an array of objects with time and text")},
        {QStringLiteral("noLogBecause"), QStringLiteral("why the log cannot be read")}};
}

} // namespace

Command showCommand()
{
    Command command;
    command.name = QStringLiteral("show");
    command.summary = QStringLiteral("show everything that is known about a task");
    command.description = QStringList{QStringLiteral(
        "Shows what a task declares and on which lines, who serves it, its unit's state, its "
        "processes, its use of processor and memory, how it last ended and the end of its log. "
        "Needs no privileges, except that only root and members of the group systemd-journal may "
        "read the log. With --root, only the declaration is shown.")};
    command.arguments = {
        {QStringLiteral("TASK"), Kind::Task, QStringLiteral("full id of the task")}};
    command.fields = fields();
    command.run = run;
    return command;
}

} // namespace Cli

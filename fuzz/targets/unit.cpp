// A declaration and hints, as fields "KEY=VALUE" in any order: when the planner accepts them,
// another reader of systemd's grammar finds exactly the intended keys in the unit, once each, and
// one command, whose words up to the program are those of the sandbox.

#include "common/Core/application_info.h"
#include "fuzz/support/property.h"
#include "fuzz/support/requested_start.h"
#include "fuzz/support/scratch.h"
#include "fuzz/support/unit_file.h"
#include "plan/task_plan.h"

using Core::TaskPlan;

namespace {

QMap<QByteArray, QByteArray> meantKeys(const TaskPlan &plan, const RequestedStart &start)
{
    QMap<QByteArray, QByteArray> keys{
        {"Unit/Description", "Background task for " + start.task.taskId.toString().toUtf8()},
        {"Unit/After", "sailjail-prepare-binds.service"},
        {"Install/WantedBy", "multi-user.target"}};
    const auto &more = start.request.unitSettings;
    for (auto it = more.begin(); it != more.end(); ++it) {
        const QString section = it.key() == QLatin1String("WantedBy") ? QStringLiteral("Install/")
                                                                      : QStringLiteral("Service/");
        keys[(section + it.key()).toUtf8()] = Core::textOf(it.value()).toUtf8();
    }
    if (start.request.weight != 0)
        keys["Service/OOMScoreAdjust"] = QByteArray::number(start.request.weight);
    if (start.request.cpuLimit != 0)
        keys["Service/LimitCPU"] = QByteArray::number(start.request.cpuLimit);
    keys["Service/User"] = start.request.user.toUtf8();
    for (const char *key : {"Environment", "ExecStart"})
        keys[QByteArray("Service/") + key] =
            Core::textOf(plan.values().value(QString::fromLatin1(key))).toUtf8();
    return keys;
}

void checkCommand(const QByteArray &line, const TaskPlan &plan, const RequestedStart &start)
{
    const auto commands = readCommands(line);
    // systemd refuses a unit in which a quote is not closed.
    if (!commands)
        return;
    FUZZ_PROPERTY(commands->size() == 1, "a unit has one command");
    const UnitCommand &words = commands->first();
    int at = 0;
    for (; at < plan.argv.size() && plan.argv.at(at).text != QLatin1String("--"); ++at)
        FUZZ_PROPERTY(words.value(at) == plan.argv.at(at).text.toUtf8(), "an option stays itself");
    const QString program = start.task.exec.section(QLatin1Char(' '), 0, 0);
    FUZZ_PROPERTY(words.value(at) == "--", "the options end where they are meant to end");
    FUZZ_PROPERTY(words.value(at + 1) == program.toUtf8(), "the program is the declared one");
    FUZZ_PROPERTY(words.first() == "/usr/bin/firejail", "the command is the sandbox");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const RequestedStart start(Input(data, size));
    NoFindings none;
    const auto [error, plan] =
        Core::planTask(start.task, start.request, Scratch::instance().places(), none);
    if (error)
        return 0;
    QMap<QByteArray, QByteArray> meant = meantKeys(plan, start);
    const QVector<UnitAssignment> found = readUnit(plan.unit());
    for (const UnitAssignment &assignment : found) {
        const QByteArray key = assignment.section + '/' + assignment.key;
        FUZZ_PROPERTY(meant.contains(key), "a unit has no key that is not meant, and none twice");
        FUZZ_PROPERTY(assignment.value == meant.take(key).trimmed(), "a key has its value");
        if (key == "Service/ExecStart")
            checkCommand(assignment.value, plan, start);
    }
    FUZZ_PROPERTY(meant.isEmpty(), "a unit has every key that is meant");
    return 0;
}

#include "cli/why/live_facts.h"

#include "cli/doctor/gates.h"
#include "cli/systemd.h"
#include "cli/task_groups.h"
#include "cli/task_units.h"
#include "cli/why/file_access.h"
#include "client/daemon.h"
#include "client/wait_for.h"
#include "common/names.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QFileInfo>

#include <sailfishaccesscontrol.h>

#include <algorithm>

#include <grp.h>
#include <unistd.h>

namespace Cli {

namespace {

constexpr int logLineCount = 5;

// Registers for the task's type, as every client has to before a start.
void askDaemon(const QDBusConnection &bus, const Question &question, LiveFacts &facts)
{
    const QString type = question.declaration.task.type;
    if (!question.isDeclared() || type.isEmpty())
        return;
    Client::Daemon daemon(bus);
    const auto [outcome, session] = Client::waitFor<Client::Outcome, Client::Session>(
        [&](const auto &done) { daemon.registerInvoker(type, done); });
    facts.answer = outcome;
    facts.isListed = std::any_of(
        session.availableTasks.begin(), session.availableTasks.end(),
        [&question](const Orvane::AvailableTask &task) { return task.id == question.id; });
}

void askSystemd(const QDBusConnection &bus, const Question &question, LiveFacts &facts)
{
    Systemd systemd(bus);
    const QString unit = unitNameOf(question.id);
    const QStringList paths{objectOfUnit(daemonUnit()), objectOfUnit(unit)};
    const auto [properties] = Client::waitFor<QVector<QVariantMap>>(
        [&](const auto &done) { systemd.properties(paths, done); });
    facts.daemonUnit = properties.value(0);
    facts.unit = properties.value(1);
    facts.hasUnitFile = QFileInfo::exists(textIn(facts.unit, "FragmentPath"));
    const auto [processes] = Client::waitFor<QVector<QVector<UnitProcess>>>(
        [&](const auto &done) { systemd.processes({unit}, done); });
    for (const UnitProcess &process : processes.value(0))
        facts.processes.append(process.pid);
}

QString nameOfGroup(gid_t gid)
{
    const group *found = getgrgid(gid); // NOLINT(concurrency-mt-unsafe)
    return found == nullptr ? QString() : QString::fromUtf8(found->gr_name);
}

bool exists(const QString &name)
{
    return getgrnam(name.toUtf8().constData()) != nullptr; // NOLINT(concurrency-mt-unsafe)
}

// Checks the caller in the same way as the daemon: by the user database and the group of the
// process.
Caller callerAmong(const QStringList &groups)
{
    Caller caller;
    caller.uid = static_cast<int>(geteuid());
    const auto account = accountOf(QString::number(caller.uid), {});
    caller.name = account ? account->name : QString::number(caller.uid);
    for (const QString &name : groups) {
        const bool isMember =
            sailfish_access_control_hasgroup(geteuid(), name.toUtf8().constData());
        if (isMember || nameOfGroup(getegid()) == name)
            caller.groups.append(name);
        if (!exists(name))
            caller.missingGroups.append(name);
    }
    return caller;
}

} // namespace

bool isAvailable(const QDBusConnection &bus, const QString &name)
{
    return bus.interface()->isServiceRegistered(name)
        || bus.interface()->activatableServiceNames().value().contains(name);
}

QString textIn(const QVariantMap &properties, const char *name)
{
    return properties.value(QString::fromLatin1(name)).toString();
}

std::optional<QStringList> groupsThatMayStart(const QVariantMap &daemonUnit)
{
    return taskGroupsIn(daemonUnit.value(QStringLiteral("Environment")).toStringList(),
                        daemonUnit.value(QStringLiteral("UnsetEnvironment")).toStringList());
}

LiveFacts gatherFacts(const Question &question)
{
    LiveFacts facts;
    const QDBusConnection bus = QDBusConnection::systemBus();
    const QString unit = unitNameOf(question.id);
    const QString thisSystem;
    facts.log = lastLogLines(unit, logLineCount, thisSystem);
    facts.policy = readPolicyFile(Core::policyFilePath(question.places, question.id));
    if (!bus.isConnected()) {
        facts.busProblem = bus.lastError().message();
        facts.caller = callerAmong({});
        return facts;
    }
    facts.hasUserService = isAvailable(bus, Names::userService());
    askDaemon(bus, question, facts);
    facts.daemonIsOwned = bus.interface()->isServiceRegistered(Names::service());
    facts.daemonIsActivatable = isAvailable(bus, Names::service());
    askSystemd(bus, question, facts);
    facts.daemonLog = lastLogLines(daemonUnit(), logLineCount, thisSystem);
    facts.caller = callerAmong(groupsThatMayStart(facts.daemonUnit).value_or(QStringList()));
    if (!facts.policy.busName.isEmpty())
        facts.ownerOfName = bus.interface()->servicePid(facts.policy.busName).value();
    return facts;
}

} // namespace Cli

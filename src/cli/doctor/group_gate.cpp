#include "cli/cures.h"
#include "cli/doctor/gates.h"
#include "cli/doctor/unit_file.h"
#include "cli/task_groups.h"
#include "files/foreign_file.h"
#include "files/path_below.h"

#include <QByteArray>

#include <grp.h>

namespace Cli {

namespace {

/// The daemon's environment according to its unit.
struct DaemonEnvironment
{
    QStringList set;
    QStringList unset;
};

// No value without a unit.
std::optional<DaemonEnvironment> environmentOf(const Examined &examined)
{
    if (examined.answers() && examined.live->daemonUnit.loadState == QLatin1String("loaded"))
        return DaemonEnvironment{examined.live->daemonUnit.environment,
                                 examined.live->daemonUnit.unsetEnvironment};
    const QString root = examined.places.root;
    const QString file = unitFileOf(daemonUnit(), UnitKind::System, root);
    if (file.isEmpty() || isMasked(file, root))
        return {};
    return DaemonEnvironment{wordsOfUnit(daemonUnit(), QStringLiteral("Environment"), root),
                             wordsOfUnit(daemonUnit(), QStringLiteral("UnsetEnvironment"), root)};
}

bool isGroup(const QString &name, const Examined &examined)
{
    // Safe, because the tool has only one thread.
    if (examined.places.root.isEmpty())
        return getgrnam(name.toUtf8().constData()) != nullptr; // NOLINT(concurrency-mt-unsafe)
    const QByteArray text =
        '\n' + readForeignFile(pathBelow(examined.places.root, QStringLiteral("/etc/group"))).text;
    return text.contains('\n' + name.toUtf8() + ':');
}

QString adding(const QStringList &groups, const QString &root)
{
    QStringList commands;
    const QStringList prefix =
        root.isEmpty() ? QStringList() : QStringList{QStringLiteral("--prefix"), root};
    for (const QString &group : groups)
        commands.append(commandOf(QStringList{QStringLiteral("groupadd")} + prefix
                                  + QStringList{QStringLiteral("--system"), group}));
    return commands.join(QStringLiteral(" && "));
}

} // namespace

Gate taskGroupsGate(const Examined &examined)
{
    const QString name = QStringLiteral("task groups");
    const auto environment = environmentOf(examined);
    if (!environment)
        return {name, Gate::NotKnown, QStringLiteral("it needs the daemon's unit")};
    const auto groups = taskGroupsIn(environment->set, environment->unset);
    if (!groups)
        return {name, Gate::Yes,
                QStringLiteral("%1 is not set for %2, so every user may start tasks")
                    .arg(taskGroupsVariable(), daemonUnit())};
    QStringList missing;
    for (const QString &group : *groups) {
        if (!isGroup(group, examined))
            missing.append(group);
    }
    const QString evidence =
        QStringLiteral("%1=%2").arg(taskGroupsVariable(), groups->join(QLatin1Char(',')));
    if (missing.isEmpty())
        return {name, Gate::Yes, evidence};
    return {name, Gate::No,
            QStringLiteral("%1, but there is no group %2")
                .arg(evidence, missing.join(QStringLiteral(", "))),
            QStringLiteral("only root and members of existing groups may start and stop tasks"),
            adding(missing, examined.places.root)};
}

} // namespace Cli

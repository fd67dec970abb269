#include "cli/refusal.h"

#include "cli/cures.h"
#include "cli/declared_tasks.h"
#include "cli/doctor/gates.h"
#include "cli/systemd.h"
#include "cli/task_units.h"
#include "cli/why/live_facts.h"
#include "client/wait_for.h"

#include <QDBusError>

namespace Cli {

namespace {

// Who may run tasks; empty when systemd does not say.
QString whoMay()
{
    Systemd systemd(QDBusConnection::systemBus());
    const QVector<UnitProperty> wanted{{"Service", "Environment"}, {"Service", "UnsetEnvironment"}};
    const auto [properties] = Client::waitFor<QVector<QVariantMap>>(
        [&](const auto &done) { systemd.properties({objectOfUnit(daemonUnit())}, wanted, done); });
    const auto groups = groupsThatMayStart(properties.value(0));
    if (!groups)
        return {};
    if (groups->isEmpty())
        return QStringLiteral("; only root may");
    return QStringLiteral("; only root and members of %1 may")
        .arg(groups->join(QStringLiteral(", ")));
}

} // namespace

QString reasonOf(const Client::Outcome &outcome, const QString &taskType)
{
    if (outcome.errorName == QDBusError::errorString(QDBusError::AccessDenied))
        return outcome.toString() + whoMay();
    if (taskType.isEmpty())
        return QStringLiteral("the task declares no Type: %1").arg(outcome.toString());
    if (outcome.isUnreachable() && worksInSession(taskType)) {
        return QStringLiteral(
                   "the per-user service, which has to serve the task type %1, does not answer: %2")
            .arg(taskType, outcome.toString());
    }
    return outcome.toString();
}

QString seeWhy(const QString &taskId)
{
    return QStringLiteral("; see: ")
        + commandOf({QStringLiteral("orvanectl"), QStringLiteral("why"), taskId});
}

} // namespace Cli

#pragma once

#include "cli/journal.h"
#include "cli/why/policy_file.h"
#include "cli/why/question.h"
#include "client/outcome.h"

#include <QDBusConnection>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <optional>

namespace Cli {

/// The user who runs the command and would start the task.
struct Caller
{
    QString name;
    int uid = -1;
    /// Of the groups that may start tasks, those that the caller is in and those that do not exist.
    QStringList groups{};
    QStringList missingGroups{};
};

/// What the bus, systemd, the daemon and the journal report about a task. A plain value; what is
/// unknown is empty.
struct LiveFacts
{
    /// Why there is no connection to the bus; empty when there is one.
    QString busProblem;
    bool daemonIsOwned = false;
    bool daemonIsActivatable = false;
    /// Whether the per-user service runs or could be started.
    bool hasUserService = false;
    /// The properties of the daemon's unit, and the end of its log.
    QVariantMap daemonUnit;
    LogEnd daemonLog;
    Caller caller;

    /// The outcome of registering for the task's type; no value when it was not tried.
    std::optional<Client::Outcome> answer;
    /// Whether the answer lists the task.
    bool isListed = false;

    /// The properties of the task's unit, and the end of its log. systemd may still know a unit
    /// whose file was removed.
    QVariantMap unit;
    bool hasUnitFile = false;
    LogEnd log;
    PolicyFile policy;
    /// The process that owns the policy's name; 0 when there is none.
    uint ownerOfName = 0;
    /// The processes of the task.
    QVector<int> processes;

    [[nodiscard]] bool hasBus() const { return busProblem.isEmpty(); }
};

/// Collects the facts. The bus starts the daemon for this, as it would for a start.
[[nodiscard]] LiveFacts gatherFacts(const Question &question);

/// Whether a service runs, or the bus can start it.
[[nodiscard]] bool isAvailable(const QDBusConnection &bus, const QString &name);

/// The groups that may start tasks besides root; no value when every user may.
/// @param daemonUnit the properties of the daemon's unit.
[[nodiscard]] std::optional<QStringList> groupsThatMayStart(const QVariantMap &daemonUnit);

/// A text property; empty when it is absent.
[[nodiscard]] QString textIn(const QVariantMap &properties, const char *name);

} // namespace Cli

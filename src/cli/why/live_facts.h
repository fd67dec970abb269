#pragma once

#include "cli/journal.h"
#include "cli/why/policy_file.h"
#include "cli/why/question.h"
#include "client/outcome.h"

#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <optional>

namespace Cli {

/// Who asks, and would start the task.
struct Caller
{
    QString name;
    int uid = -1;
    /// Of the groups that may start tasks, those that the caller is in, and those that do not
    /// exist.
    QStringList groups{};
    QStringList missingGroups{};
};

/// What the bus, systemd, the daemon and the journal say of a task. A plain value; what could not
/// be found out is empty.
struct LiveFacts
{
    /// Why there is no connection to the bus; empty when there is one.
    QString busProblem;
    bool daemonIsOwned = false;
    bool daemonIsActivatable = false;
    /// Whether the per-user service has its name or could be started.
    bool userServiceIsThere = false;
    /// The properties of the daemon's unit, and the end of its log.
    QVariantMap daemonUnit;
    LogEnd daemonLog;
    Caller caller;

    /// What came of registering for the task's type; nothing while nobody has tried.
    std::optional<Client::Outcome> answer;
    /// Whether the answer lists the task.
    bool isListed = false;

    /// The properties of the task's unit, and the end of its log. systemd may know a unit for a
    /// while whose file has been removed.
    QVariantMap unit;
    bool unitFileIsThere = false;
    LogEnd log;
    PolicyFile policy;
    /// The process that owns the policy's name; 0 when nobody does.
    uint ownerOfName = 0;
    /// The processes of the task.
    QVector<int> processes;

    [[nodiscard]] bool hasBus() const { return busProblem.isEmpty(); }
};

/// Asks all of them. The bus starts the daemon for it, as it would for a start.
[[nodiscard]] LiveFacts gatherFacts(const Question &question);

/// The groups that may start tasks beside root; nothing where everybody may.
/// @param daemonUnit the properties of the daemon's unit.
[[nodiscard]] std::optional<QStringList> groupsThatMayStart(const QVariantMap &daemonUnit);

/// A property that is a text; empty when it is not there.
[[nodiscard]] QString textIn(const QVariantMap &properties, const char *name);

} // namespace Cli

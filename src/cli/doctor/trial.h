#pragma once

#include "cli/rendering.h"

#include <QString>
#include <QStringList>

struct Places;

namespace Cli {

/// The plan of a task that does nothing: it has what every task is given.
struct Trial
{
    Rendering ordinary;
    /// Planned without directories in a home.
    Rendering homeless;

    /// The sandbox program that tasks' units name.
    [[nodiscard]] QString sandbox() const;
    [[nodiscard]] QStringList argv() const;
    /// The directories that must exist and be empty, so that the sandbox can close the trees around
    /// them.
    [[nodiscard]] QStringList emptyFolders() const;
    /// The permission files that were found, and the names of those that were not.
    [[nodiscard]] QStringList permissionFiles() const;
    [[nodiscard]] QStringList missingPermissions() const;
    /// The unit that the tasks' units are ordered after.
    [[nodiscard]] QString bindsUnit() const;
};

/// Plans the trial. Reads the permission files; runs nothing.
[[nodiscard]] Trial plannedTrial(const Places &places);

/// The result of running the trial.
struct TrialRun
{
    /// What went wrong; empty on success.
    QString complaint;
    /// The user that it ran as.
    QString user;
};

/// Runs the trial in the way that units run tasks: root runs it as the first ordinary user, every
/// other user as themselves. Removes the directories that it created in the home.
[[nodiscard]] TrialRun runTrial(const Trial &trial);

/// The first line that a program prints; empty when it cannot be run.
[[nodiscard]] QString firstLineOf(const QString &program, const QStringList &arguments);

} // namespace Cli

#pragma once

#include "cli/rendering.h"

#include <QString>
#include <QStringList>

struct Places;

namespace Cli {

/// A task that does nothing, as the planner makes it: what every task is given.
struct Trial
{
    Rendering ordinary;
    /// Without directories in a home.
    Rendering homeless;

    /// The sandbox program, as tasks' units name it.
    [[nodiscard]] QString sandbox() const;
    [[nodiscard]] QStringList argv() const;
    /// The directories that have to be there, empty, for the sandbox to close the trees around.
    [[nodiscard]] QStringList emptyFolders() const;
    /// The permission files that were found, and the names of those that were not.
    [[nodiscard]] QStringList permissionFiles() const;
    [[nodiscard]] QStringList missingPermissions() const;
    /// The unit that the tasks' units are ordered after.
    [[nodiscard]] QString bindsUnit() const;
};

/// Plans it. Reads the permission files; runs nothing.
[[nodiscard]] Trial plannedTrial(const Places &places);

/// How running it ended.
struct TrialRun
{
    /// Empty when it ran.
    QString complaint;
    /// The user as whom it ran.
    QString user;
};

/// Runs it as units run tasks: root runs it as the first user who is not one of the system's own,
/// everybody else as themselves. Removes the directories that it left in the home.
[[nodiscard]] TrialRun runTrial(const Trial &trial);

/// The first line that a program prints; empty when it cannot be run.
[[nodiscard]] QString firstLineOf(const QString &program, const QStringList &arguments);

} // namespace Cli

#pragma once

#include "cli/declared_tasks.h"
#include "client/start_request.h"
#include "plan/task_plan.h"

#include <QString>
#include <QVector>

namespace Cli {

/// A value that a start would write, and its origin.
struct ValueOrigin
{
    /// The unit's key, or "policy" and the policy's attribute: "policy user".
    QString setting;
    QString value;
    /// "declaration", "hint", "permission" or "default".
    QString kind;
    /// The entry's key or group, the option, the permission; empty for a default.
    QString what;
    /// The entry or the permission file; empty for the other kinds.
    QString file;
    /// Counted from 1; 0: the whole file, or no file.
    int line = 0;

    /// The origin as text for people: "/usr/share/applications/notes.desktop:9 (Exec)".
    [[nodiscard]] QString toString() const;
    /// The same with only the file's name: "notes.desktop:9 (Exec)".
    [[nodiscard]] QString toShortString() const;

private:
    [[nodiscard]] QString toString(const QString &shownFile) const;
};

/// All values of a plan in the order of the unit. The environment and the command line are listed
/// word by word. Reads the task's entry again to find its lines.
[[nodiscard]] QVector<ValueOrigin> originsOf(const Core::TaskPlan &plan, const DeclaredTask &task,
                                             const Client::StartRequest &request);

} // namespace Cli

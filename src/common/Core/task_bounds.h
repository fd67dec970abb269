#pragma once

#include "common/Core/application_info.h"

#include <QList>
#include <QMap>

// How much tasks may declare. The bus ends the connection of a program that sends a message of more
// than 32 MiB, and a session's answer holds every task of its type twice at most: among the
// available and among the active ones.

namespace Core {

class Findings;

/// Bytes that one task may take; an honest one takes some hundred.
constexpr int largestTask = 16 << 10;
/// Bytes that the tasks of one application may take together.
constexpr int largestTasksOfApplication = 256 << 10;
/// Bytes that the tasks of a list from the registry take at most.
constexpr int largestTaskList = 8 << 20;

/// Bytes that a task takes: what it takes in a message of the bus, if all of it were sent.
[[nodiscard]] int sizeOf(const ApplicationInfo::TaskInfo &task);

/// Leaves out what one application declares beyond the bounds, with a finding that names the
/// first task of each kind: tasks that are too large, then those for which no room is left, in
/// order of task name.
void boundTasksOfApplication(QMap<QString, ApplicationInfo::TaskInfo> &tasks, Findings &findings);

/// Joins lists of tasks, one of each application, in order, as far as there is room. Those that
/// take most are left out first, with one finding: nobody fills the room of the others.
[[nodiscard]] QList<ApplicationInfo::TaskInfo>
joinedWithinBounds(const QList<QList<ApplicationInfo::TaskInfo>> &ofApplications,
                   Findings &findings);

} // namespace Core

#pragma once

#include "common/Core/application_info.h"

#include <QList>
#include <QMap>

// Limits on how much tasks may declare. The bus disconnects a program that sends a message of more
// than 32 MiB, and the answer of a session has each task of its type at most twice: as available
// and as active.

namespace Core {

class Findings;

/// Largest size of one task, in bytes. Real tasks have some hundred.
constexpr int largestTask = 16 << 10;
/// Largest size of all tasks of one application, in bytes.
constexpr int largestTasksOfApplication = 256 << 10;
/// Largest size of a list of tasks from the registry, in bytes.
constexpr int largestTaskList = 8 << 20;

/// Size of a task in bytes: what it takes in a message of the bus, if all of it were sent.
[[nodiscard]] int sizeOf(const ApplicationInfo::TaskInfo &task);

/// Removes the tasks of one application that exceed the limits: first those that are too large,
/// then those that no longer fit, in order of task name. One finding for each of the two reasons
/// names the first task.
void boundTasksOfApplication(QMap<QString, ApplicationInfo::TaskInfo> &tasks, Findings &findings);

/// Joins the lists of tasks of several applications, in order. If they exceed largestTaskList, the
/// longest lists are left out first, with one finding, so that one application cannot displace
/// others.
[[nodiscard]] QList<ApplicationInfo::TaskInfo>
joinedWithinBounds(const QList<QList<ApplicationInfo::TaskInfo>> &ofApplications,
                   Findings &findings);

} // namespace Core

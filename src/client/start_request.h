#pragma once

#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <optional>

namespace Client {

/// The two maps of Start, typed. A plain value; the daemon checks its content.
struct StartRequest
{
    /// The user that the task runs as. Required: without one the daemon refuses the start.
    std::optional<QString> user;
    /// Whether the task starts at boot from now on.
    bool atBoot = false;
    /// A name on the system bus that the task may own.
    std::optional<QString> busName;
    /// Names of permission files, in addition to the one that every task has. What the task's entry
    /// declares is not granted unless it is named here.
    QStringList permissions;
    /// Further arguments of the program.
    QStringList params;
    /// Whether the task has no directories in the user's home.
    bool homeless = false;
    /// OOMScoreAdjust of the unit, -1000 to 1000; 0: not set.
    int weight = 0;
    /// LimitCPU of the unit in seconds; 0: not set.
    int cpuLimit = 0;
    /// Further properties of the unit's service section.
    QVariantMap unitSettings;
    /// NAME=value entries; the daemon appends its own.
    QStringList environment;

    /// The hints of Start, without those that are not set.
    [[nodiscard]] QVariantMap hints() const;
    /// The start-up information of Start, without what is not set.
    [[nodiscard]] QVariantMap information() const;
};

} // namespace Client

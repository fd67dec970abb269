#pragma once

#include "plan/unit_value.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace Core {

/// What a caller asks for when it starts a task. A plain value; nothing in it has been checked.
struct StartRequest
{
    /// Name or number of the user that the task is to run as.
    QString user;
    /// Whether the task gets no directories in its user's home.
    bool homeless = false;
    /// Whether the task is to start at boot from now on.
    bool atBoot = false;
    /// A name on the system bus that the task is to own.
    std::optional<QString> busName;
    /// Names of permissions, in addition to the one that every task has.
    QStringList permissions;
    /// Further arguments of the program.
    QStringList params;
    /// The unit's OOMScoreAdjust and LimitCPU (in seconds); 0: not set.
    int weight = 0;
    int cpuLimit = 0;
    /// Further settings of the unit.
    UnitValues unitSettings;
    /// Variables of the task's environment, each NAME=VALUE.
    QStringList environment;
};

} // namespace Core

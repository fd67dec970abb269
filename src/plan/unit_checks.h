#pragma once

#include "common/Core/application_info.h"
#include "common/Core/error.h"
#include "plan/start_request.h"
#include "plan/unit_value.h"

#include <QString>
#include <QStringList>

// What of a declaration and of a caller's hints may become a unit and a bus policy. Each function
// says with Error::InvalidArgs what is wrong. All are pure functions of their arguments.

namespace Core {

/// What an application declares: that its id is one of its own and fit for paths, and that its
/// command line names one program and stays one command on one line.
[[nodiscard]] Error checkDeclaration(const ApplicationInfo::TaskInfo &task);
/// Each part of it alone: that the application's id can be one, and that its command line names a
/// program whose name means nothing more to systemd and the sandbox.
[[nodiscard]] Error checkApplicationId(const ApplicationId &id);
[[nodiscard]] Error checkProgram(const QString &exec);

/// Everything that a caller asks for beside the environment.
[[nodiscard]] Error checkRequest(const StartRequest &request);
/// That a user is named at all, and is not root: what a caller is told first.
[[nodiscard]] Error checkUserIsGiven(const QString &user);
/// The user that a task is to run as.
[[nodiscard]] Error checkUser(const QString &user);
/// Names of permissions, which become names of files.
[[nodiscard]] Error checkPermissions(const QStringList &permissions);
/// Further arguments of the program, which stand at the end of its command line.
[[nodiscard]] Error checkParameters(const QStringList &parameters);
/// The bus name that a task is to own.
[[nodiscard]] Error checkBusName(const QString &busName);

/// Keys and values of a unit, as they would be written.
[[nodiscard]] Error checkSettings(const UnitValues &settings);
/// A whole line that starts programs.
[[nodiscard]] Error checkCommandLine(const QString &what, const QString &line);

} // namespace Core

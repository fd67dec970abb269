#pragma once

#include "common/Core/application_info.h"
#include "common/Core/error.h"
#include "plan/start_request.h"
#include "plan/unit_value.h"

#include <QString>
#include <QStringList>

// Checks of what a declaration and a caller's hints put into a unit and a bus policy. Each function
// returns Error::InvalidArgs with the reason, or success. Pure functions.

namespace Core {

/// Checks what an application declares: its id is not reserved and is usable in paths, and its
/// command line names one program and is a single command on a single line.
[[nodiscard]] Error checkDeclaration(const ApplicationInfo::TaskInfo &task);
/// The parts of checkDeclaration(): the application's id alone, and the program that a command line
/// names, which must hold no character that is special to systemd or the sandbox.
[[nodiscard]] Error checkApplicationId(const ApplicationId &id);
[[nodiscard]] Error checkProgram(const QString &exec);

/// Checks everything that a caller asks for except the environment.
[[nodiscard]] Error checkRequest(const StartRequest &request);
/// Checks that a user is given and is not root. Callers check this first.
[[nodiscard]] Error checkUserIsGiven(const QString &user);
/// Checks the user that a task is to run as.
[[nodiscard]] Error checkUser(const QString &user);
/// Checks names of permissions, which become file names.
[[nodiscard]] Error checkPermissions(const QStringList &permissions);
/// Checks further arguments of the program, which are appended to its command line.
[[nodiscard]] Error checkParameters(const QStringList &parameters);
/// Checks the bus name that a task is to own.
[[nodiscard]] Error checkBusName(const QString &busName);

/// Checks keys and values of a unit as they would be written.
[[nodiscard]] Error checkSettings(const UnitValues &settings);
/// Checks a whole command line.
[[nodiscard]] Error checkCommandLine(const QString &what, const QString &line);

} // namespace Core

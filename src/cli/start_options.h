#pragma once

#include "cli/command.h"
#include "cli/declared_tasks.h"
#include "cli/exit_status.h"
#include "client/start_request.h"

#include <QString>
#include <QVector>

// What a caller can ask for when a task is started, as options of the commands that start one or
// show what a start would do.

namespace Cli {

/// The options, one for each hint.
[[nodiscard]] QVector<Option> startOptions();

/// A start as a command line asks for it, or what is wrong with it.
struct AskedStart
{
    QString taskId;
    /// Its declaration; the id is not valid when there is none.
    DeclaredTask task;
    Client::StartRequest request;
    /// Done; WrongUsage; or No where no application declares the task.
    ExitStatus status = Done;
    /// One line for a person, which says what to do; empty when nothing is wrong.
    QString complaint;
};

/// Reads a command line whose argument is a task and whose options are startOptions().
/// @param command the name of the command, for its help.
[[nodiscard]] AskedStart askedStart(const Request &request, const QString &command);

/// The option that gives a hint, with its dashes; empty for a name that is no hint's.
/// @param hint the hint's name in a call of the daemon: "CPULimit".
[[nodiscard]] QString optionOfHint(const QString &hint);

} // namespace Cli

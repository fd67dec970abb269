#pragma once

#include "cli/command.h"
#include "cli/declared_tasks.h"
#include "cli/exit_status.h"
#include "client/start_request.h"

#include <QString>
#include <QVector>

// The options of commands that start a task or show what a start would do.

namespace Cli {

/// The options, one per hint.
[[nodiscard]] QVector<Option> startOptions();

/// A start that a command line asks for, or what is wrong with it.
struct AskedStart
{
    QString taskId;
    /// Its declaration; the id is invalid when there is none.
    DeclaredTask task;
    Client::StartRequest request;
    /// Done; WrongUsage; or No when no application declares the task.
    ExitStatus status = Done;
    /// One line that says what is wrong and what to do; empty when nothing is wrong.
    QString complaint;
};

/// Reads a command line whose argument is a task and whose options are startOptions().
/// @param command the name of the command, for its error messages.
[[nodiscard]] AskedStart askedStart(const Request &request, const QString &command);

/// The option for a hint, with its dashes; empty when there is none.
/// @param hint the hint's name in a call to the daemon: "CPULimit".
[[nodiscard]] QString optionOfHint(const QString &hint);

} // namespace Cli

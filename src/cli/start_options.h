#pragma once

#include "cli/command.h"
#include "cli/declared_tasks.h"
#include "client/start_request.h"

#include <QString>
#include <QVector>

// What a caller can ask for when a task is started, as options of the commands that start one or
// show what a start would do.

namespace Cli {

/// The options, one for each hint.
[[nodiscard]] QVector<Option> startOptions();

/// What a command line asks for, or what is wrong with it.
struct AskedStart
{
    Client::StartRequest request;
    /// One line for a person; empty when nothing is wrong.
    QString complaint;
};

/// Reads the options of a command line that startOptions() describes.
/// @param task the declaration that is meant, which says whether a user is required; one whose id
/// is not valid requires none.
[[nodiscard]] AskedStart askedStart(const Request &request, const DeclaredTask &task);

/// The option that gives a hint, with its dashes; empty for a name that is no hint's.
/// @param hint the hint's name in a call of the daemon: "CPULimit".
[[nodiscard]] QString optionOfHint(const QString &hint);

/// The line for a person when no application declares a task.
[[nodiscard]] QString notDeclared(const QString &taskId);

} // namespace Cli

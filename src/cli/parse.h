#pragma once

#include "cli/command.h"

#include <QString>
#include <QStringList>

namespace Cli {

/// A parsed command line.
struct Parsed
{
    /// The command; null when none is given.
    const Command *command = nullptr;
    /// Its arguments and options; empty when it is not to be run.
    Request request;
    /// Whether help is requested: of the command, or of the whole tool if there is no command.
    bool wantsHelp = false;
    /// Whether the tool's version is requested.
    bool wantsVersion = false;
    /// What is wrong, in one line; empty when the command line is valid.
    QString complaint;
};

/// Parses the words after the tool's name against the table of commands.
[[nodiscard]] Parsed parse(const QStringList &words);

} // namespace Cli

#pragma once

#include "cli/command.h"

#include <QString>
#include <QStringList>

namespace Cli {

/// What a command line says.
struct Parsed
{
    /// The command that is meant; null when it names none.
    const Command *command = nullptr;
    /// Its arguments and options, when it is to be run.
    Request request;
    /// Whether help is wanted: of the command, or of the whole tool when there is none.
    bool wantsHelp = false;
    /// Whether the tool's version is wanted.
    bool wantsVersion = false;
    /// What is wrong with it, in a line; empty when nothing is.
    QString complaint;
};

/// Parses the words behind the tool's own name against the table of commands.
[[nodiscard]] Parsed parse(const QStringList &words);

} // namespace Cli

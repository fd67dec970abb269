#pragma once

#include <QString>
#include <QStringList>

// Commands that a person may copy from the output into a shell. What is in them comes from files
// that anybody may have written: every word is quoted, so that a shell reads it as that word.

namespace Cli {

/// A command of these words.
[[nodiscard]] QString commandOf(const QStringList &words);
/// Two commands, the second only after the first has succeeded.
[[nodiscard]] QString inTurn(const QString &first, const QString &second);

/// "systemctl VERB UNIT".
[[nodiscard]] QString systemctl(const char *verb, const QString &unit);

/// Makes folders, those on the way to them included.
[[nodiscard]] QString makingFolders(const QStringList &folders);
/// Installs the files of a package again; empty where it is not known how.
[[nodiscard]] QString reinstalling(const QString &package);

/// Puts a text in the place of a file's line.
[[nodiscard]] QString replacingLine(const QString &file, int line, const QString &text);
/// Puts a line behind another.
[[nodiscard]] QString addingLine(const QString &file, int after, const QString &text);
[[nodiscard]] QString deletingLine(const QString &file, int line);
/// Moves a file; one that is a link is moved itself, and not what it leads to.
[[nodiscard]] QString moving(const QString &from, const QString &to);
/// Writes a text to the end of a file, which need not exist; its folder is made.
[[nodiscard]] QString appending(const QString &file, const QStringList &lines);

} // namespace Cli

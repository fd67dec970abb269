#pragma once

#include <QString>
#include <QStringList>

// Commands that a user may copy from the output into a shell. They contain text from files that
// anyone may have written, so every word is quoted.

namespace Cli {

/// A command made of these words.
[[nodiscard]] QString commandOf(const QStringList &words);
/// Two commands; the second runs only if the first succeeds.
[[nodiscard]] QString inTurn(const QString &first, const QString &second);

/// "systemctl VERB UNIT".
[[nodiscard]] QString systemctl(const char *verb, const QString &unit);

/// Creates folders, and their parents.
[[nodiscard]] QString makingFolders(const QStringList &folders);
/// Reinstalls the files of a package; empty where it is not known how.
[[nodiscard]] QString reinstalling(const QString &package);

/// Replaces a line of a file.
[[nodiscard]] QString replacingLine(const QString &file, int line, const QString &text);
/// Inserts a line after another.
[[nodiscard]] QString addingLine(const QString &file, int after, const QString &text);
[[nodiscard]] QString deletingLine(const QString &file, int line);
/// Moves a file. A symbolic link is moved itself, not its target.
[[nodiscard]] QString moving(const QString &from, const QString &to);
/// Appends lines to a file. The file and its folder are created if missing.
[[nodiscard]] QString appending(const QString &file, const QStringList &lines);

} // namespace Cli

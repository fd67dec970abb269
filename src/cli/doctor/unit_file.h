#pragma once

#include <QString>
#include <QStringList>

// Units as files: what systemd would load at the boot of an image, without being asked.

namespace Cli {

/// Whose units.
enum class UnitKind { System, User };

/// The file of a unit in the first of systemd's folders below a root that has one; empty when none
/// has. A link is followed as it is below the root.
[[nodiscard]] QString unitFileOf(const QString &unit, UnitKind kind, const QString &root);
/// Whether somebody has masked it: then the file is a link to /dev/null, or is empty.
[[nodiscard]] bool isMasked(const QString &unitFile, const QString &root);
/// The words of a key in a unit file and its drop-ins, in order, where an empty value forgets those
/// before it. Quotes are not looked at.
[[nodiscard]] QStringList wordsOfUnit(const QString &unit, const QString &key, const QString &root);

} // namespace Cli

#pragma once

#include <QString>
#include <QStringList>

// Reads unit files without systemd: what it would load when an image boots.

namespace Cli {

/// The manager that the unit belongs to.
enum class UnitKind { System, User };

/// The file of a unit, in the first of systemd's folders below a root that has one; empty when none
/// has. Links are resolved below the root.
[[nodiscard]] QString unitFileOf(const QString &unit, UnitKind kind, const QString &root);
/// Whether the unit is masked: its file is a link to /dev/null, or is empty.
[[nodiscard]] bool isMasked(const QString &unitFile, const QString &root);
/// The words of a key in a unit file and its drop-ins, in order. An empty value discards the words
/// before it. Quotes are not interpreted.
[[nodiscard]] QStringList wordsOfUnit(const QString &unit, const QString &key, const QString &root);

} // namespace Cli

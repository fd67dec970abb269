#pragma once

#include <QString>

// Checks of names whose components are separated by dots: application ids and bus names.

namespace Core {

/// Whether the name begins or ends with a dot, has two dots in a row, or is empty.
[[nodiscard]] bool hasEmptyComponent(const QString &name);

/// Whether the name belongs to the system: it is a name that the bus, this daemon or its peers use,
/// or is below one ("org.freedesktop.x"), or above one ("org"). Case matters.
[[nodiscard]] bool isReservedName(const QString &name);

/// Whether the bus lets a program ask for the name: at most 255 characters, at least two
/// components, each made of ASCII letters, digits, "_" and "-" and not beginning with a digit.
[[nodiscard]] bool isWellKnownBusName(const QString &name);

} // namespace Core

#pragma once

#include <QString>

// Names made of components that dots separate: of applications, and on the bus.

namespace Core {

/// Whether two dots stand side by side in the name, or one at its beginning or end. A name without
/// any text counts, too.
[[nodiscard]] bool hasEmptyComponent(const QString &name);

/// Whether the name belongs to the system: it is one of those that the bus, this daemon and its
/// peers use, or its components begin with all of such a name's ("org.freedesktop.x"), or such a
/// name's begin with all of its own ("org"). Upper and lower case differ.
[[nodiscard]] bool isReservedName(const QString &name);

/// Whether the bus lets a program ask for the name: at most 255 characters, at least two
/// components, each made of ASCII letters, digits, "_" and "-" and not beginning with a digit.
[[nodiscard]] bool isWellKnownBusName(const QString &name);

} // namespace Core

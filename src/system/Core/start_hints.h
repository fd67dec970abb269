#pragma once

#include "plan/start_request.h"

#include <QVariant>
#include <QVariantMap>

// Converts a caller's maps of variants to plain values, and nothing else does. A value of an
// unexpected type is converted as common/DBus/plain_value.h says, or ignored. Usable from any
// thread.

namespace Core {

/// Converts the arguments of a start.
/// @param startParameters settings of this start: "Environment".
/// @param taskSettings settings of the task: "User", "CGroups", "DBusService", ...
[[nodiscard]] StartRequest startRequestOf(const QVariantMap &startParameters,
                                          const QVariantMap &taskSettings);

/// Converts one value of a unit: a list of strings and a 32-bit integer keep their type, anything
/// else becomes a text.
[[nodiscard]] UnitValue unitValueOf(const QVariant &value);
/// Converts all values of a map.
[[nodiscard]] UnitValues unitValuesOf(const QVariantMap &properties);

/// The value as a variant.
[[nodiscard]] QVariant variantOf(const UnitValue &value);

} // namespace Core

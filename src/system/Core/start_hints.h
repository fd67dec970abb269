#pragma once

#include "plan/start_request.h"

#include <QVariant>
#include <QVariantMap>

// A caller's maps of variants, as they arrive from the bus or as this process makes them, become
// plain values here and nowhere else. A value of another type than is meant is converted as the
// framework does, or counts as not given.

namespace Core {

/// What a caller asks for.
/// @param startParameters what it says of this start: "Environment".
/// @param taskSettings how the task is to run: "User", "CGroups", "DBusService", ...
[[nodiscard]] StartRequest startRequestOf(const QVariantMap &startParameters,
                                          const QVariantMap &taskSettings);

/// One value of a unit: a list of strings stays one, a number of 32 bits too, everything else
/// becomes a text.
[[nodiscard]] UnitValue unitValueOf(const QVariant &value);
/// All of them.
[[nodiscard]] UnitValues unitValuesOf(const QVariantMap &properties);

/// The other way round: the value as a variant.
[[nodiscard]] QVariant variantOf(const UnitValue &value);

} // namespace Core

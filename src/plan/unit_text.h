#pragma once

#include "plan/unit_value.h"

#include <QByteArray>
#include <QString>

namespace Core {

/// The text of a task's unit file.
[[nodiscard]] QByteArray unitText(const QString &taskId, const UnitValues &settings);

} // namespace Core

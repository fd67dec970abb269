#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

#include <variant>

namespace Core {

/// The value of a unit's setting: a number, a text, or a list of words.
using UnitValue = std::variant<int, QString, QStringList>;

/// Settings by key, in the order of the unit file.
using UnitValues = QMap<QString, UnitValue>;

/// The value as written in the unit: a number in decimal, a list with blanks between its words.
/// Nothing is quoted or escaped: systemd splits a text at its blanks.
[[nodiscard]] QString textOf(const UnitValue &value);

} // namespace Core

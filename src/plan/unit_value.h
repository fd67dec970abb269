#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

#include <variant>

namespace Core {

/// What a unit's setting is: a number, a text, or words that blanks separate.
using UnitValue = std::variant<int, QString, QStringList>;

/// Settings by key, in the order in which a unit has them.
using UnitValues = QMap<QString, UnitValue>;

/// What a unit says for a value: a number in decimal, the words of a list separated by blanks.
/// Nothing is quoted or escaped: what holds a blank is several words to systemd.
[[nodiscard]] QString textOf(const UnitValue &value);

} // namespace Core

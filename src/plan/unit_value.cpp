#include "plan/unit_value.h"

namespace Core {

QString textOf(const UnitValue &value)
{
    if (const auto *number = std::get_if<int>(&value))
        return QString::number(*number);
    if (const auto *words = std::get_if<QStringList>(&value))
        return words->join(QLatin1Char(' '));
    return std::get<QString>(value);
}

} // namespace Core

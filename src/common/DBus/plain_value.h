#pragma once

#include <QString>
#include <QStringList>
#include <QVariant>

// Converts values of any type to a text, a number or a boolean. QVariant converts some types
// differently in Qt 5 and Qt 6; with both, these functions give what QVariant gives in Qt 5. Usable
// from any thread.

namespace DBus {

/// The text of a value. The versions of Qt differ in which fractions are written with an exponent,
/// and in whether the text of a byte array ends at a zero byte; here it does.
/// @return an empty text for values that have none.
[[nodiscard]] QString textOf(const QVariant &value);

/// The texts of several values, in their order.
[[nodiscard]] QStringList textsOf(const QVariantList &values);

/// The value as an integer. A fraction is rounded, and a half is rounded up; the versions of Qt
/// differ for negative halves.
/// @return 0 for values that are not a number.
[[nodiscard]] int numberOf(const QVariant &value);

/// Whether a value means yes: true, a number that numberOf() does not round to 0, or a text other
/// than "", "0" and "false".
[[nodiscard]] bool isYes(const QVariant &value);

} // namespace DBus

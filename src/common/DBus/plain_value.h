#pragma once

#include <QString>
#include <QStringList>
#include <QVariant>

// Values of any type as a text, a number or yes and no. QVariant converts most types alike in Qt 5
// and Qt 6; these functions also do so where it does not, as Qt 5 does. Usable from any thread.

namespace DBus {

/// The text of a value. Qt's versions differ in which fractions have an exponent, and in whether
/// bytes end at a zero; here they do.
/// @return the empty text for values that have none.
[[nodiscard]] QString textOf(const QVariant &value);

/// The texts of several values, in their order.
[[nodiscard]] QStringList textsOf(const QVariantList &values);

/// The value as a whole number. A fraction is rounded, and a half is rounded up; Qt's versions
/// differ in the negative halves.
/// @return 0 for values that are no number.
[[nodiscard]] int numberOf(const QVariant &value);

/// Whether a value means yes: true, a number that numberOf() does not round to 0, or a text other
/// than "", "0" and "false".
[[nodiscard]] bool isYes(const QVariant &value);

} // namespace DBus

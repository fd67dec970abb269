#include "common/DBus/plain_value.h"

#include <QLocale>

#include <algorithm>
#include <cmath>

namespace DBus {

namespace {

// The most digits before the point that are written without an exponent.
qint64 mostWholeDigits(qint64 digits, int wholeDigits)
{
    if (wholeDigits <= 0)
        return 6;
    // As many characters as the text with an exponent has.
    const int exponent = wholeDigits > 100 ? 6 : 5;
    return digits + exponent + (digits > wholeDigits ? 1 : 0);
}

// The shortest digits that give the same number when they are read.
QString textOfFraction(double number)
{
    const QString withExponent = QString::number(number, 'e', QLocale::FloatingPointShortest);
    const auto mark = withExponent.indexOf(QLatin1Char('e'));
    // Infinity, or not a number.
    if (mark < 0)
        return withExponent;
    const auto digits = std::count_if(withExponent.cbegin(), withExponent.cbegin() + mark,
                                      [](QChar c) { return c.isDigit(); });
    const int wholeDigits = withExponent.mid(mark + 1).toInt() + 1;
    const bool isShort = wholeDigits > -4 && wholeDigits <= mostWholeDigits(digits, wholeDigits);
    return isShort || wholeDigits == digits
        ? QString::number(number, 'f', QLocale::FloatingPointShortest)
        : withExponent;
}

double rounded(const QVariant &fraction) { return std::floor(fraction.toDouble() + 0.5); }

} // namespace

QString textOf(const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::Double:
        return textOfFraction(value.toDouble());
    case QMetaType::QByteArray:
        return QString::fromUtf8(value.toByteArray().constData());
    default:
        return value.toString();
    }
}

QStringList textsOf(const QVariantList &values)
{
    QStringList texts;
    texts.reserve(values.size());
    for (const QVariant &value : values)
        texts.append(textOf(value));
    return texts;
}

int numberOf(const QVariant &value)
{
    return value.userType() == QMetaType::Double ? QVariant(rounded(value)).toInt() : value.toInt();
}

bool isYes(const QVariant &value)
{
    if (value.userType() != QMetaType::Double)
        return value.toBool();
    const double number = rounded(value);
    return number < 0 || number > 0;
}

} // namespace DBus

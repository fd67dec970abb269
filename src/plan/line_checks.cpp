#include "plan/line_checks.h"

#include <QVector>

#include <algorithm>

namespace Core {

namespace {

bool isControlCharacter(QChar character)
{
    // A shortcut for ASCII: looking up the category is ten times slower.
    constexpr ushort firstBeyondAscii = 0x80;
    constexpr ushort blank = 0x20;
    constexpr ushort deleted = 0x7f;
    const ushort unit = character.unicode();
    if (unit < firstBeyondAscii)
        return unit < blank || unit == deleted;
    switch (character.category()) {
    case QChar::Other_Control:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default:
        return false;
    }
}

bool isNoncharacter(uint codePoint)
{
    constexpr uint lastTwoOfAPlane = 0xfffe;
    return (codePoint >= 0xfdd0 && codePoint <= 0xfdef)
        || (codePoint & lastTwoOfAPlane) == lastTwoOfAPlane;
}

bool isDigit(QChar character)
{
    return character >= QLatin1Char('0') && character <= QLatin1Char('9');
}

// Neither root nor one of the two numbers that mean "no user".
bool isUserNumber(const QString &digits)
{
    bool fits = false;
    const uint number = digits.toUInt(&fits);
    constexpr uint noUser = 0xffffffff;
    constexpr uint noUserOf16Bits = 0xffff;
    return fits && number != 0 && number != noUser && number != noUserOf16Bits;
}

bool isPlainInAName(uint codePoint)
{
    constexpr uint firstBeyondAscii = 0x80;
    if (codePoint < firstBeyondAscii && !QChar::isLetterOrNumber(codePoint))
        return QLatin1String("._-@+").contains(QChar(codePoint));
    return QChar::isLetterOrNumber(codePoint) || QChar::isMark(codePoint);
}

} // namespace

bool holdsControlCharacter(const QString &text)
{
    return std::any_of(text.cbegin(), text.cend(), isControlCharacter);
}

bool holdsNoncharacter(const QString &text)
{
    // No noncharacter is below the surrogates.
    const auto mayBePart = [](QChar unit) { return unit.unicode() >= 0xd800; };
    if (std::none_of(text.cbegin(), text.cend(), mayBePart))
        return false;
    // toUcs4() below would hide half a surrogate pair.
    if (!text.isValidUtf16())
        return true;
    const QVector<uint> codePoints = text.toUcs4();
    return std::any_of(codePoints.cbegin(), codePoints.cend(), isNoncharacter);
}

bool endsWithBackslash(const QString &text)
{
    auto end = text.size();
    while (end > 0 && text.at(end - 1) == QLatin1Char(' '))
        --end;
    return end > 0 && text.at(end - 1) == QLatin1Char('\\');
}

bool holdsLoneSemicolon(const QString &text)
{
    const auto isEnd = [&text](auto at) {
        return at < 0 || at == text.size() || text.at(at) == QLatin1Char(' ');
    };
    auto at = text.indexOf(QLatin1Char(';'));
    while (at >= 0 && !(isEnd(at - 1) && isEnd(at + 1)))
        at = text.indexOf(QLatin1Char(';'), at + 1);
    return at >= 0;
}

Error checkLine(const QString &what, const QString &text)
{
    const auto invalid = [&what](const char *fault) -> Error {
        return {Error::InvalidArgs, what + QLatin1String(" must not ") + QLatin1String(fault)};
    };
    if (holdsControlCharacter(text))
        return invalid("hold control characters");
    if (holdsNoncharacter(text))
        return invalid("hold noncharacters");
    if (endsWithBackslash(text))
        return invalid("end with a backslash");
    return {};
}

bool isPlainUser(const QString &text)
{
    // The limit of the C library and of the login records.
    constexpr int longestName = 255;
    if (text.isEmpty() || text.toUtf8().size() > longestName || text == QLatin1String(".")
        || text == QLatin1String(".."))
        return false;
    // The bus would read 0x0, 00 and +0 as numbers, whatever systemd does with them.
    const QChar first = text.at(0);
    if (first == QLatin1Char('0') || first == QLatin1Char('+') || first == QLatin1Char('-'))
        return false;
    if (std::all_of(text.cbegin(), text.cend(), isDigit))
        return isUserNumber(text);
    const QVector<uint> codePoints = text.toUcs4();
    return std::all_of(codePoints.cbegin(), codePoints.cend(), isPlainInAName);
}

} // namespace Core

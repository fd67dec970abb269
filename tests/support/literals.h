#pragma once

#include <QChar>
#include <QString>

#include <cstddef>

/// A string literal for tests: `u"com.example.Notes"_s`. It copies its characters, which
/// QStringLiteral does not. Tests do not need that, and their lines are easier to read without it.
/// @param text the characters, UTF-16; may hold zeros.
/// @param size the number of characters.
inline QString operator""_s(const char16_t *text, std::size_t size)
{
    return QString(reinterpret_cast<const QChar *>(text), static_cast<QString::size_type>(size));
}

#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <algorithm>

/// Whether this version of QSettings reads a text as the daemon does with every version. Since Qt 6
/// it takes all texts for UTF-8, and vertical tabs and form feeds around a name for blanks. Before,
/// it took texts without the mark of UTF-8, and all names, for Latin-1.
inline bool settingsLibraryReadsAlike(const QByteArray &text)
{
    const auto isAlike = [](char byte) {
        return static_cast<unsigned char>(byte) < 0x80 && byte != '\v' && byte != '\f';
    };
    return QT_VERSION_MAJOR < 6 || std::all_of(text.begin(), text.end(), isAlike);
}

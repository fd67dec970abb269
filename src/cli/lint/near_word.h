#pragma once

#include <QString>
#include <QStringList>

namespace Cli {

/// The word that a misspelt one was probably meant to be: the one at the smallest edit distance,
/// ignoring case.
/// @param farthest the largest edit distance that counts as a misspelling.
/// @return an empty text when no word is that near.
[[nodiscard]] QString nearWord(const QString &written, const QStringList &words, int farthest = 2);

} // namespace Cli

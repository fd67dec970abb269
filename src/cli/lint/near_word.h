#pragma once

#include <QString>
#include <QStringList>

namespace Cli {

/// The word that a misspelt one was probably meant to be: the one at the smallest edit distance,
/// ignoring case; empty when every distance is above the farthest.
[[nodiscard]] QString nearWord(const QString &written, const QStringList &words, int farthest = 2);

} // namespace Cli

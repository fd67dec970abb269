#pragma once

#include <QString>
#include <QStringList>

namespace Cli {

/// The word that a misspelt one was probably meant to be: the one at the smallest edit distance,
/// ignoring case; empty when the distance is above two.
[[nodiscard]] QString nearWord(const QString &written, const QStringList &words);

} // namespace Cli

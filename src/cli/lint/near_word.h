#pragma once

#include <QString>
#include <QStringList>

namespace Cli {

/// The word that somebody may have meant who wrote another: the one that the fewest changed, added
/// or left out characters make of it, upper and lower case being the same; empty when more than two
/// are needed.
[[nodiscard]] QString nearWord(const QString &written, const QStringList &words);

} // namespace Cli

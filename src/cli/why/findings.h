#pragma once

#include "cli/gate.h"
#include "cli/lint/collected.h"

#include <QString>
#include <QVector>

// Turns the linter's findings into gates.

namespace Cli {

/// The first finding of one of these rules; null when there is none.
[[nodiscard]] const Core::Finding *firstOf(const QVector<Core::Finding> &findings,
                                           const QVector<const Core::Rule *> &rules);
/// "notes.desktop:9: There is no Exec".
[[nodiscard]] QString evidenceOf(const Core::Finding &finding);
/// A gate that is shut because of a finding, with its consequence and what to write instead.
[[nodiscard]] Gate shutBy(const QString &gate, const Core::Finding &finding,
                          const QString &cure = {});

} // namespace Cli

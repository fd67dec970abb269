#pragma once

#include "support/fixture.h"

#include <functional>

namespace Bench {

/// Instructions that a program executes until it ends by itself, all threads; -1 when it failed.
double instructionsOf(const QString &program, const QStringList &arguments,
                      const QStringList &environment);

/// Instructions of the daemon on a fixture whose manager runs: from its start, through the work,
/// which begins when it has its name, to its end.
double instructionsOfDaemon(Fixture &fixture, const std::function<void()> &work);

} // namespace Bench

#pragma once

#include "support/fixture.h"

#include <functional>

namespace Bench {

/// Instructions of all threads of a program that ends by itself; -1 when it failed.
double instructionsOf(const QString &program, const QStringList &arguments,
                      const QStringList &environment);

/// Instructions of the daemon of a fixture whose manager runs, from the daemon's start to its end.
/// The work begins when the daemon has its name.
double instructionsOfDaemon(Fixture &fixture, const std::function<void()> &work);

} // namespace Bench

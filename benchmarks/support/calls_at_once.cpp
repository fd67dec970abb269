#include "support/calls_at_once.h"

#include "support/child.h"

namespace Bench {

QVector<double> callAtOnce(const QStringList &mode, const QStringList &names,
                           const QStringList &environment)
{
    return numbersOf(programBeside(QStringLiteral("calls-at-once")), mode + names, environment);
}

} // namespace Bench

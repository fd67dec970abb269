#include "chaos/tally.h"

#include <cstdio>

namespace Chaos {

void Tally::count(const QString &operation, const QString &fault, bool fired,
                  const QStringList &broken, const QString &repeat, int times)
{
    Row &row = m_rows[{operation, fault}];
    row.tries += times;
    row.fired += fired ? times : 0;
    row.held += fired && broken.isEmpty() ? times : 0;
    if (broken.isEmpty())
        return;
    m_allHeld = false;
    std::fprintf(stderr, "BROKEN  %s, %s  (again: %s)\n", qPrintable(operation), qPrintable(fault),
                 qPrintable(repeat));
    for (const QString &what : broken)
        std::fprintf(stderr, "        %s\n", qPrintable(what));
}

void Tally::print() const
{
    for (auto row = m_rows.cbegin(); row != m_rows.cend(); ++row)
        std::printf("ROW\t%s\t%s\t%d\t%d\t%d\n", qPrintable(row.key().first),
                    qPrintable(row.key().second), row->tries, row->fired, row->held);
    std::fflush(stdout);
}

} // namespace Chaos

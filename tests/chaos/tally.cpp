#include "chaos/tally.h"
#include "support/literals.h"
#include "support/private_bus.h"

#include <cstdio>
#include <utility>

namespace Chaos {

void Tally::count(const QString &operation, const QString &fault, bool fired,
                  const QStringList &broken, const QString &repeat, int times)
{
    Row &row = m_rows[{operation, fault}];
    row.tries += times;
    row.fired += fired ? times : 0;
    row.held += fired && broken.isEmpty() ? times : 0;
    m_part.tries += times;
    m_part.fired += fired ? times : 0;
    if (broken.isEmpty())
        return;
    m_allHeld = false;
    std::fprintf(stderr, "BROKEN  %s, %s  (again: scripts/chaos %s%s)\n", qPrintable(operation),
                 qPrintable(fault), PrivateBus::isBroker() ? "--bus broker " : "",
                 qPrintable(repeat));
    for (const QString &what : broken)
        std::fprintf(stderr, "        %s\n", qPrintable(what));
}

void Tally::endPart(const QString &name)
{
    const Row part = std::exchange(m_part, Row());
    // What did not hold has been said already.
    if (!m_allHeld || part.fired * 2 >= part.tries)
        return;
    m_allHeld = false;
    std::fprintf(stderr, "BROKEN  %s: only %d of %d faults happened\n", qPrintable(name),
                 part.fired, part.tries);
}

void Tally::print() const
{
    const QString where = PrivateBus::isBroker() ? u" (dbus-broker)"_s : QString();
    for (auto row = m_rows.cbegin(); row != m_rows.cend(); ++row)
        std::printf("ROW\t%s\t%s\t%d\t%d\t%d\n", qPrintable(row.key().first + where),
                    qPrintable(row.key().second), row->tries, row->fired, row->held);
    std::fflush(stdout);
}

} // namespace Chaos

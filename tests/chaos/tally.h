#pragma once

#include <QMap>
#include <QPair>
#include <QString>
#include <QStringList>

namespace Chaos {

/// Counts what was tried and what came of it. scripts/chaos makes the table of its rows.
class Tally
{
public:
    /// One attempt.
    /// @param fired whether the fault happened; one that did not is counted as a try alone.
    /// @param broken what did not hold, in words: shown at once with `repeat`.
    /// @param repeat how to see this attempt alone.
    /// @param times how many attempts this stands for.
    void count(const QString &operation, const QString &fault, bool fired,
               const QStringList &broken, const QString &repeat, int times = 1);
    /// Prints a line for each pair of operation and fault: both, tries, fired, held.
    void print() const;
    [[nodiscard]] bool allHeld() const { return m_allHeld; }

private:
    struct Row
    {
        int tries = 0;
        int fired = 0;
        int held = 0;
    };
    QMap<QPair<QString, QString>, Row> m_rows;
    bool m_allHeld = true;
};

} // namespace Chaos

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
    /// @param repeat what to tell scripts/chaos to see this attempt alone.
    /// @param times how many attempts this stands for.
    void count(const QString &operation, const QString &fault, bool fired,
               const QStringList &broken, const QString &repeat, int times = 1);
    /// Says that a part is over. It has not held if most of its faults did not happen, because then
    /// it has shown nothing.
    void endPart(const QString &name);
    /// Prints a line for each pair of operation and fault: both, tries, fired, held. On dbus-broker
    /// the operation says so.
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
    /// Of the part that runs.
    Row m_part;
    bool m_allHeld = true;
};

} // namespace Chaos

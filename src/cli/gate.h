#pragma once

#include "cli/output.h"

#include <QJsonArray>
#include <QString>
#include <QVector>

// A list of gates is read from its beginning: every gate must be open before something works.

namespace Cli {

/// A condition, whether it is met, and how that is known.
struct Gate
{
    enum Answer { Yes, No, NotKnown };

    /// What is checked, in a few words: "program".
    QString name;
    Answer answer = NotKnown;
    /// How the answer is known: a file and line, a unit's state, the answer to a call.
    QString evidence;
    /// What does not work when the answer is no; empty where the evidence makes it clear.
    QString consequence{};
    /// The command that opens the gate; empty when no single command does.
    QString cure{};
};

/// The gates as lines for a terminal. Each has its answer and its evidence; a gate that is not open
/// also has its consequence and cure.
[[nodiscard]] QStringList linesOf(const QVector<Gate> &gates, const Output &output);
/// The gates for JSON: objects with gate, answer ("yes", "no" or "unknown"), evidence, and
/// consequence and cure if there are any.
[[nodiscard]] QJsonArray objectsOf(const QVector<Gate> &gates);
/// The first gate that is shut; null when there is none.
[[nodiscard]] const Gate *firstShut(const QVector<Gate> &gates);

} // namespace Cli

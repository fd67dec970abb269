#pragma once

#include "cli/output.h"

#include <QJsonArray>
#include <QString>
#include <QVector>

// One question of a list that a person reads from its beginning: every gate must be open before
// something works.

namespace Cli {

/// A condition, whether it holds, and how that is known.
struct Gate
{
    enum Answer { Yes, No, NotKnown };

    /// What is asked, in a word or a few: "program".
    QString name;
    Answer answer = NotKnown;
    /// How the answer is known: a file and line, a unit's state, the answer to a call.
    QString evidence;
    /// What does not work when the answer is no; empty where the evidence says it.
    QString consequence{};
    /// The command that changes a no into a yes; empty where no single command does.
    QString cure{};
};

/// The gates as lines for a terminal: each with its answer and its evidence, and below what is shut
/// or not known, what follows of it and the command that changes it.
[[nodiscard]] QStringList linesOf(const QVector<Gate> &gates, const Output &output);
/// The gates for JSON: objects with gate, answer ("yes", "no" or "unknown"), evidence, and
/// consequence and cure where there are any.
[[nodiscard]] QJsonArray objectsOf(const QVector<Gate> &gates);
/// The first gate that is shut, or nothing.
[[nodiscard]] const Gate *firstShut(const QVector<Gate> &gates);

} // namespace Cli

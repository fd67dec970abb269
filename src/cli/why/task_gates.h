#pragma once

#include "cli/gate.h"
#include "cli/lint/collected.h"
#include "cli/why/question.h"

#include <QVector>

namespace Cli {

/// Checks a task's declaration: its name, its type, its program.
[[nodiscard]] QVector<Gate> taskGates(const Question &question);

/// The linter's findings about a task's declaration; empty when there is none.
[[nodiscard]] QVector<Core::Finding> findingsOf(const Question &question);

/// The name of a type that has a file and a similar name; empty when there is none.
[[nodiscard]] QString nearType(const QString &type);

/// The gate for a question about a declaration that does not exist.
[[nodiscard]] Gate undeclared(const QString &gate);

} // namespace Cli

#pragma once

#include "cli/gate.h"
#include "cli/lint/collected.h"
#include "cli/why/question.h"

#include <QVector>

namespace Cli {

/// What has to be right in a task's declaration: its name, its type, its program.
[[nodiscard]] QVector<Gate> taskGates(const Question &question);

/// What is wrong with a task's declaration, as the linter finds it; nothing when there is none.
[[nodiscard]] QVector<Core::Finding> findingsOf(const Question &question);

/// A gate that asks for something in a declaration that is not there.
[[nodiscard]] Gate undeclared(const QString &gate);

} // namespace Cli

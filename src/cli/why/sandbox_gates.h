#pragma once

#include "cli/gate.h"
#include "cli/why/question.h"

#include <QVector>

namespace Cli {

/// Checks the permissions that a task declares.
[[nodiscard]] QVector<Gate> permissionGates(const Question &question);

/// Checks what confines every task: its base permission, and the sandbox program.
[[nodiscard]] QVector<Gate> sandboxGates(const Question &question);

} // namespace Cli

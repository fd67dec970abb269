#pragma once

#include "cli/gate.h"
#include "cli/why/question.h"

#include <QVector>

namespace Cli {

/// The permissions that a task declares.
[[nodiscard]] QVector<Gate> permissionGates(const Question &question);

/// What confines every task: the permission that each has, and the program that puts permissions
/// into force.
[[nodiscard]] QVector<Gate> sandboxGates(const Question &question);

} // namespace Cli

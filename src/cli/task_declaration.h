#pragma once

#include "cli/declared_tasks.h"

#include <QString>
#include <QVector>

namespace Cli {

/// A key of a task's declaration.
struct DeclaredKey
{
    QString name;
    QString value;
    /// Its line in the desktop entry; 0 when it is absent.
    int line = 0;
};

/// A task's declaration, with line numbers.
struct TaskDeclaration
{
    DeclaredTask task;
    /// The line of its group's header.
    int line = 0;
    /// The keys that have a value, the type first.
    QVector<DeclaredKey> keys;
    TaskType type;
};

/// Finds a task's declaration; the task's id is invalid when there is none.
[[nodiscard]] TaskDeclaration declarationOf(const QString &taskId);
/// The declaration of a task that was already looked up.
[[nodiscard]] TaskDeclaration declarationOf(const DeclaredTask &task);

} // namespace Cli

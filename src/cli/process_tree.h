#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVector>

namespace Cli {

/// A process of a unit.
struct UnitProcess
{
    int pid = 0;
    QString command;
    /// The parent process; 0 when unknown.
    int parent = 0;
};

/// A process in the tree.
struct TreeProcess
{
    UnitProcess process;
    /// The number of its ancestors in the unit.
    int depth = 0;
};
/// The processes of a unit, each after its parent; siblings are sorted by id.
[[nodiscard]] QVector<TreeProcess> processTree(QVector<UnitProcess> processes);

} // namespace Cli

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
    /// The process that made it; 0 while not known.
    int parent = 0;
};

/// A process in its place below the one that made it.
struct TreeProcess
{
    UnitProcess process;
    /// How many of those above it are of the unit.
    int depth = 0;
};
/// The processes of a unit, each behind the one that made it; brothers in order of their ids.
[[nodiscard]] QVector<TreeProcess> processTree(QVector<UnitProcess> processes);

} // namespace Cli

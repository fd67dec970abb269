#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

namespace Chaos {

/// What is below a folder: for each path its kind, its permissions and its text.
using Snapshot = QMap<QString, QByteArray>;

/// @param root absolute path of a folder. What it holds as a mere cache is left out.
[[nodiscard]] Snapshot snapshotOf(const QString &root);
/// Whether a path is that of a file that was being written when its writer died.
[[nodiscard]] bool isLeftover(const QString &path);
/// Without such files, and without folders: what a reader goes by.
[[nodiscard]] Snapshot settled(Snapshot snapshot);
/// Where `found` is neither as in `before` nor as in `after`, in words. Leftovers are no
/// difference.
[[nodiscard]] QStringList neitherOldNorNew(const Snapshot &found, const Snapshot &before,
                                           const Snapshot &after);
/// Where `found` is not as in `expected`, in words.
[[nodiscard]] QStringList differences(const Snapshot &found, const Snapshot &expected);

} // namespace Chaos

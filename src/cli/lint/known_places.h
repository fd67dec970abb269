#pragma once

#include "common/places.h"

#include <QHash>
#include <QPair>
#include <QString>
#include <QVector>

namespace Cli {

/// Looks up the programs, permissions and types that declarations name, in the first place that has
/// them. Caches the results, because many entries name the same ones.
class KnownPlaces
{
public:
    enum class Program {
        Fine,
        NotThere,
        Directory,
        NotExecutable,
        /// A script, for example.
        NotElf
    };

    explicit KnownPlaces(QVector<Places> places);

    /// The real path of a file in the first place; see Places::real().
    [[nodiscard]] QString real(const QString &path) const
    {
        return m_places.constFirst().real(path);
    }
    [[nodiscard]] bool hasTaskType(const QString &name) const;
    [[nodiscard]] bool hasPermission(const QString &name) const;
    /// @param path the absolute path of a task's program.
    [[nodiscard]] Program program(const QString &path) const;

private:
    [[nodiscard]] bool findTaskType(const QString &name) const;
    [[nodiscard]] bool findPermission(const QString &name) const;
    [[nodiscard]] QString programBelow(const QString &root, const QString &path) const;

    QVector<Places> m_places;
    mutable QHash<QString, bool> m_types;
    mutable QHash<QString, bool> m_permissions;
    // By device and inode.
    mutable QHash<QPair<quint64, quint64>, Program> m_programs;
    // By root and folder.
    mutable QHash<QString, QString> m_folders;
};

} // namespace Cli

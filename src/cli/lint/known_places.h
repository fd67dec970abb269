#pragma once

#include "common/places.h"

#include <QHash>
#include <QPair>
#include <QString>
#include <QVector>

namespace Cli {

/// Where a declaration's program, permissions and type may be: the first place that has it counts.
/// Remembers what it has looked up, because many entries name the same.
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

    /// Where a file of the first place really is: see Places::real().
    [[nodiscard]] QString real(const QString &path) const
    {
        return m_places.constFirst().real(path);
    }
    [[nodiscard]] bool hasTaskType(const QString &name) const;
    [[nodiscard]] bool hasPermission(const QString &name) const;
    /// @param path an absolute path, as a task names its program.
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

#pragma once

#include "common/places.h"

#include <QSet>
#include <QString>

namespace Core {

/// What a run of the daemon that ended in the middle of its work has left on the disk. Each removal
/// is logged. Only what is known by its name, its form and its owner as the daemon's own is
/// removed, and nothing that a process is writing to. Event-loop thread only, where it cannot meet
/// a start half done.
class LeftoverFiles
{
public:
    explicit LeftoverFiles(const Places &places);

    /// Removes the policies of tasks that have no unit.
    /// @param liveUnits the units that run, come or go. They keep their policies, because their
    /// files may have been removed already.
    /// @return whether there were any.
    bool removePolicies(const QSet<QString> &liveUnits) const;
    /// Removes the files that were not finished, wherever the daemon writes.
    void removeUnfinished() const;
    /// Removes the folders of applications without autostart settings.
    void removeEmptyFolders() const;

private:
    [[nodiscard]] bool isLeftoverPolicy(const QString &taskId,
                                        const QSet<QString> &liveUnits) const;

    const Places m_places;
};

} // namespace Core

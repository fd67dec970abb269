#pragma once

#include "common/places.h"

#include <QSet>
#include <QString>

namespace Core {

/// Removes files that an interrupted run of the daemon left on the disk. Each removal is logged. A
/// file is removed only if its name, form and owner show that it is the daemon's, and no process is
/// writing to it. Event-loop thread only, so that no start can be half done meanwhile.
class LeftoverFiles
{
public:
    /// @param places where the daemon writes.
    explicit LeftoverFiles(const Places &places);

    /// Removes the policies of tasks that have no unit.
    /// @param liveUnits names of the units that are active, starting or stopping. Their policies
    /// are kept, because their unit files may have been removed already.
    /// @return whether any policy was removed.
    bool removePolicies(const QSet<QString> &liveUnits) const;
    /// Removes unfinished files from all folders that the daemon writes to.
    void removeUnfinished() const;
    /// Removes empty folders of autostart settings.
    void removeEmptyFolders() const;

private:
    [[nodiscard]] bool isLeftoverPolicy(const QString &taskId,
                                        const QSet<QString> &liveUnits) const;

    const Places m_places;
};

} // namespace Core

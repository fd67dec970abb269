#pragma once

#include "common/autostart/settings.h"

#include <QString>
#include <QStringList>

struct Places;

namespace Autostart {

/// The store of which applications start by themselves for which user: read-only settings that
/// the system ships, and settings of this daemon's own, one per file. Nothing is cached; every
/// call reads or writes the disk. Failures are logged and reported as false. Blocks its caller.
class Manager
{
public:
    /// User id that stands for every user.
    static constexpr int allUsers = -1;

    /// Removes what users that no longer exist left behind.
    /// @param findings has to live as long as this object.
    Manager(const Places &places, Core::Findings &findings);
    /// The store that the process shares, of Places::ofProcess(); made by the first call, never
    /// destroyed. Logs what it finds.
    static Manager *instance();

    /// Switches autostart of an application for one user, or with allUsers for every user, which
    /// replaces what single users had set.
    /// @param appId an application id, or the pseudo application "enabledMode".
    /// @return whether the setting was written; what it was before stays when it was not.
    bool setEnabled(int uid, const QString &appId, bool enabled);
    /// See Settings::enabledApplications().
    [[nodiscard]] QStringList enabledApplications(int uid) const;

    /// Removes everything stored for an application. The name is not checked: it is the package
    /// manager's. No symbolic link is followed out of the store's directory.
    /// @return whether it is gone.
    bool cleanupUninstalledApplication(const QString &appId);
    /// Removes the settings of users that the user manager does not list. Without its answer, or
    /// with one that lists nobody, everything stays.
    void cleanupRemovedUsers();

private:
    const Settings m_settings;
    const QString m_runtimeDirectory;
};

} // namespace Autostart

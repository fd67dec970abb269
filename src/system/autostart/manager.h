#pragma once

#include <QString>
#include <QStringList>

namespace Autostart {

/// The store of which applications start by themselves for which user: read-only settings that
/// the system ships, and settings of this daemon's own, one per file. Nothing is cached; every
/// call reads or writes the disk. Failures are logged and reported as false. Blocks its caller.
class Manager
{
public:
    /// User id that stands for every user.
    static constexpr int allUsers = -1;

    /// Uses the directories below the root prefix and removes what users that no longer exist
    /// left behind.
    Manager();
    /// The store that the process shares; made by the first call, never destroyed.
    static Manager *instance();

    /// Switches autostart of an application for one user, or with allUsers for every user, which
    /// replaces what single users had set.
    /// @param appId an application id, or the pseudo application "enabledMode".
    /// @return whether the setting was written; what it was before stays when it was not.
    bool setEnabled(int uid, const QString &appId, bool enabled);
    /// The applications that start for a user: his own settings before those for all users, before
    /// the system's.
    [[nodiscard]] QStringList enabledApplications(int uid) const;

    /// Removes everything stored for an application. The name is not checked: it is the package
    /// manager's. No symbolic link is followed out of the store's directory.
    /// @return whether it is gone.
    bool cleanupUninstalledApplication(const QString &appId);
    /// Removes the settings of users that the user manager does not list. Without its answer, or
    /// with one that lists nobody, everything stays.
    void cleanupRemovedUsers();

private:
    const QString m_systemDirectory;
    const QString m_runtimeDirectory;
};

} // namespace Autostart

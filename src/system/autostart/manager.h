#pragma once

#include "common/autostart/settings.h"

#include <QDBusMessage>
#include <QSet>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

class QObject;
struct Places;

namespace Autostart {

class UserListQuery;

/// The autostart settings: which applications start automatically for which user. There are
/// read-only settings that the system ships, and settings that the daemon writes, one in each file.
/// Nothing is cached; every call reads or writes the disk and blocks. Failures are logged and
/// reported as false. Event-loop thread only.
class Manager
{
public:
    /// The user id for all users.
    static constexpr int allUsers = -1;

    /// How the constructor gets the list of existing users.
    enum class Users {
        /// Blocks until it has the list.
        WaitFor,
        /// Requests the list, and uses it when it arrives in the event loop.
        Request
    };

    /// Removes the settings of users that no longer exist, when it has the list of users.
    /// @param findings has to outlive this object.
    Manager(const Places &places, Core::Findings &findings, Users users = Users::WaitFor);
    ~Manager();
    Q_DISABLE_COPY(Manager)
    /// The instance of this process, for Places::ofProcess(). Made by the first call, which
    /// requests the list of users; never destroyed. Logs its findings.
    static Manager *instance();

    /// For the inactivity timer: an object that is not idle while the list of users is awaited.
    /// Valid as long as this object; null when the constructor waited for the list.
    [[nodiscard]] QObject *userListQuery() const;

    /// Sets autostart of an application for one user, or with allUsers for every user, which
    /// replaces the settings of single users.
    /// @param appId an application id, or the special name "enabledMode".
    /// @return whether the setting was written; otherwise the old one is kept.
    bool setEnabled(int uid, const QString &appId, bool enabled);
    /// See Settings::enabledApplications().
    [[nodiscard]] QStringList enabledApplications(int uid) const;

    /// Removes all settings of an application. The name is not checked, because the package manager
    /// may use other names. Symbolic links that lead out of the folder are not followed.
    /// @return whether no settings are left.
    bool cleanupUninstalledApplication(const QString &appId);
    /// Removes the settings of users that the user manager does not list. Without an answer, or
    /// with an empty list, removes nothing. Blocks for the answer if none has arrived.
    void cleanupRemovedUsers();

private:
    const Settings m_settings;
    const QString m_runtimeDirectory;
    std::unique_ptr<UserListQuery> m_query;
    /// The user manager's answer, until it is used.
    std::optional<QDBusMessage> m_answer;
    /// Names of users' files that were written while the list of users was awaited.
    QSet<QString> m_writtenMeanwhile;
};

} // namespace Autostart

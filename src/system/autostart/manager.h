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

class UserQuestion;

/// The store of which applications start by themselves for which user: read-only settings that
/// the system ships, and settings of this daemon's own, one per file. Nothing is cached; every
/// call reads or writes the disk. Failures are logged and reported as false. Blocks its caller.
/// Main thread only.
class Manager
{
public:
    /// User id that stands for every user.
    static constexpr int allUsers = -1;

    /// What the constructor does about the list of existing users.
    enum class Users {
        /// Waits for it.
        Awaited,
        /// Asks for it. What depends on it happens in the event loop, when it is here.
        AskedFor
    };

    /// Removes what users that no longer exist left behind, with the list of those that do.
    /// @param findings has to live as long as this object.
    Manager(const Places &places, Core::Findings &findings, Users users = Users::Awaited);
    ~Manager();
    Q_DISABLE_COPY(Manager)
    /// The daemon's store, of Places::ofProcess(); made by the first call, which asks for the list
    /// of users, and never destroyed. Logs what it finds.
    static Manager *instance();

    /// For the inactivity timer: idle unless the list of users has been asked for and is not here.
    /// Lives as long as this object; null when the list was awaited.
    [[nodiscard]] QObject *question() const;

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
    /// with one that lists nobody, everything stays. Waits for that answer when none has come.
    void cleanupRemovedUsers();

private:
    const Settings m_settings;
    const QString m_runtimeDirectory;
    std::unique_ptr<UserQuestion> m_question;
    /// What the user manager has answered, until it is used.
    std::optional<QDBusMessage> m_answer;
    /// Names of users' files that were written while the question was open.
    QSet<QString> m_setMeanwhile;
};

} // namespace Autostart

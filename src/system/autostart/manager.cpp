#include "system/autostart/manager.h"

#include "common/Core/application_id.h"
#include "common/Core/findings.h"
#include "common/client_text.h"
#include "common/directories.h"
#include "common/places.h"
#include "system/autostart/config_file.h"
#include "system/autostart/removal.h"
#include "system/autostart/user_list_query.h"
#include "system/autostart/users.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QDebug>
#include <QDir>
#include <QFileInfo>

namespace Autostart {

namespace {

QFileInfoList settingsIn(const QDir &directory)
{
    return directory.entryInfoList(anyConfigFile(),
                                   QDir::Files | QDir::Hidden | QDir::CaseSensitive);
}

// Removes the settings of single users for an application. Returns the base names of the files that
// could not be removed.
QStringList removeOverrides(const QString &runtimeDirectory, const QDir &directory)
{
    QStringList kept;
    const OpenDirectory held(directory.path());
    const bool reached = isBelow(runtimeDirectory, directory.path());
    const QFileInfoList files = settingsIn(directory);
    for (const QFileInfo &file : files) {
        const bool isNew = file.fileName() == allUsersFile();
        if (!isNew && !(reached && QFile::remove(file.filePath())))
            kept.append(file.baseName());
    }
    // An error is ignored, because the new setting is on the disk already. After a crash the old
    // settings of users could be there again.
    (void)held.sync();
    return kept;
}

// The base names of the files that cannot be removed.
QStringList unremovableSettings(const QDir &directory)
{
    QStringList fixed;
    const QFileInfoList files = settingsIn(directory);
    for (const QFileInfo &file : files) {
        if (!canBeRemoved(file.filePath()))
            fixed.append(file.baseName());
    }
    return fixed;
}

} // namespace

Manager::Manager(const Places &places, Core::Findings &findings, Users users)
    : m_settings(places, findings)
    , m_runtimeDirectory(places.runtimeAutostartFolder())
{
    if (users == Users::WaitFor) {
        cleanupRemovedUsers();
        return;
    }
    m_query = std::make_unique<UserListQuery>();
    QObject::connect(m_query.get(), &UserListQuery::answered, m_query.get(),
                     [this](const QDBusMessage &answer) {
                         m_answer = answer;
                         cleanupRemovedUsers();
                     });
}

Manager::~Manager() = default;

Manager *Manager::instance()
{
    static auto *manager =
        new Manager(Places::ofProcess(), Core::LoggedFindings::instance(), Users::Request);
    return manager;
}

QObject *Manager::userListQuery() const { return m_query.get(); }

bool Manager::setEnabled(int uid, const QString &appId, bool enabled)
{
    if (!Core::ApplicationId(appId).isValid() && appId != QLatin1String("enabledMode")) {
        qWarning() << "Invalid application ID:" << ClientText(appId);
        return false;
    }
    const QDir directory(QDir(m_runtimeDirectory).absoluteFilePath(appId));
    if (uid != allUsers) {
        // The list of users that was requested may be older than this user.
        if (m_query && !m_query->isIdle())
            m_writtenMeanwhile.insert(userFile(uid));
        return writeRuntimeConfig(directory.filePath(userFile(uid)), appId, uid, enabled);
    }

    // The new setting is written first, so that after a crash in between each user has the old or
    // the new one. If that fails, the settings of users are kept.
    const bool written =
        writeRuntimeConfig(directory.filePath(allUsersFile()), appId, uid, enabled);
    const QStringList kept =
        written ? removeOverrides(m_runtimeDirectory, directory) : unremovableSettings(directory);
    for (const QString &user : kept)
        qWarning() << "couldn't disable autostart of" << appId << "for" << user << "uid";
    return written;
}

QStringList Manager::enabledApplications(int uid) const
{
    return m_settings.enabledApplications(uid);
}

bool Manager::cleanupUninstalledApplication(const QString &appId)
{
    const bool removed = removeBelow(m_runtimeDirectory, appId);
    if (!removed)
        qWarning() << "couldn't remove uninstalled application directory: "
                   << m_runtimeDirectory + QLatin1Char('/') + appId;
    return removed;
}

void Manager::cleanupRemovedUsers()
{
    QSet<quint32> users;
    const QDBusError error =
        readUsers(m_answer ? *m_answer : QDBusConnection::systemBus().call(usersCall()), users);
    m_answer.reset();
    if (error.isValid()) {
        qWarning() << "couldn't get available users list:" << error;
        return;
    }
    QSet<QString> keep = m_writtenMeanwhile;
    keep.insert(allUsersFile());
    for (const quint32 user : qAsConst(users))
        keep.insert(userFile(user));

    const QStringList paths = configFilesBelow(m_runtimeDirectory, anyConfigFile());
    for (const QString &path : paths) {
        const QFileInfo file(path);
        if (keep.contains(file.fileName()))
            continue;
        if (!QFile::remove(path))
            qWarning() << "couldn't remove user config:" << file.absoluteFilePath();
        QDir directory = file.absoluteDir();
        const bool empty = directory.isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System
                                             | QDir::NoDotAndDotDot);
        // rmdir() removes only empty directories; one that cannot be read looks empty, too.
        if (empty && !QDir().rmdir(directory.path()))
            qWarning() << "coudln't cleanup empty directory" << directory.path();
    }
}

} // namespace Autostart

#pragma once

#include "common/places.h"

#include <QMap>
#include <QString>
#include <QStringList>
#include <QVector>

struct Places;
namespace Core {
class Findings;
}

// Reading the autostart store. Its files have one group per application, or per application and
// user, with the one key "autostart".

namespace Autostart {

/// What one group of one file says.
struct Setting
{
    QString application;
    bool enabled = false;
    QString file;
    /// The line of the key; 0 when the group does not have it, which says no.
    int line = 0;
};

/// Names of the files in the store: the setting for all users, and that of one user.
[[nodiscard]] QString allUsersFile();
[[nodiscard]] QString userFile(qint64 uid);
/// A name filter for every file of settings.
[[nodiscard]] QStringList anyConfigFile();

/// The regular files below a directory, subdirectories included but no symbolic links to any, that
/// match a name filter. In the order of their paths.
/// @param places whose links are followed: those of an image lead to files of the image.
[[nodiscard]] QStringList configFilesBelow(const QString &directory, const QStringList &nameFilters,
                                           const Places &places = {});

/// What every file that configFilesBelow() finds says for a user, in the order in which the later
/// overrides the earlier. A file that cannot be read, or is too large to be one of these, says
/// nothing; of files that are too large together the largest say nothing.
[[nodiscard]] QVector<Setting> readConfigFiles(const QString &directory,
                                               const QStringList &nameFilters, int uid,
                                               Core::Findings &findings, const Places &places = {});

/// The switch of one application and user, layer by layer. In each the last setting decides.
struct Layers
{
    /// What the system ships.
    QVector<Setting> system;
    /// What was set for all users, and for this one.
    QVector<Setting> allUsers;
    QVector<Setting> user;

    /// The setting that counts: of the last layer that says anything. Null when none does, and
    /// then the application does not start. Lives as long as this.
    [[nodiscard]] const Setting *deciding() const;
    [[nodiscard]] bool isEnabled() const;
};

/// The store as a reader sees it: nothing is cached, written or asked of anybody; every call reads
/// the disk. Usable from one thread, the one of `findings`.
class Settings
{
public:
    /// @param findings has to live as long as this object.
    Settings(const Places &places, Core::Findings &findings);

    /// Every layer of a switch.
    [[nodiscard]] Layers layersOf(const QString &application, int uid) const;
    /// Those of every application that any setting for the user, or for all, speaks of.
    [[nodiscard]] QMap<QString, Layers> allLayers(int uid) const;
    /// The applications that start for a user: the user's own settings go before those for all
    /// users, and these before the system's. Sorted.
    [[nodiscard]] QStringList enabledApplications(int uid) const;

private:
    [[nodiscard]] Layers layers(int uid) const;

    const Places m_places;
    Core::Findings &m_findings;
};

} // namespace Autostart

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

// Reading the autostart settings. A file has one group for each application, or for each
// application and user, with the single key "autostart".

namespace Autostart {

/// The setting in one group of one file.
struct Setting
{
    QString application;
    bool enabled = false;
    QString file;
    /// The line of the key; 0 when the group does not have the key, which means false.
    int line = 0;
};

/// Names of the files with the setting for all users, and with that of one user.
[[nodiscard]] QString allUsersFile();
[[nodiscard]] QString userFile(qint64 uid);
/// A name filter that matches every settings file.
[[nodiscard]] QStringList anyConfigFile();

/// The regular files below a directory whose names match one of the filters, sorted by path.
/// Includes subdirectories, but does not follow symbolic links to directories.
/// @param places resolves the links of an image within the image.
[[nodiscard]] QStringList configFilesBelow(const QString &directory, const QStringList &nameFilters,
                                           const Places &places = {});

/// Reads the settings for a user from every file that configFilesBelow() finds; a later one
/// overrides an earlier one. A file that cannot be read or is too large is skipped. When all files
/// together are too large, the largest are skipped.
[[nodiscard]] QVector<Setting> readConfigFiles(const QString &directory,
                                               const QStringList &nameFilters, int uid,
                                               Core::Findings &findings, const Places &places = {});

/// The autostart settings of one application for one user, by layer. In each layer the last setting
/// decides.
struct Layers
{
    /// Settings that the system ships.
    QVector<Setting> system;
    /// Settings for all users, and for this user.
    QVector<Setting> allUsers;
    QVector<Setting> user;

    /// The setting that decides: from the user's layer, else from the layer for all users, else
    /// from the system's. Null when there is none; the application then does not start. Valid as
    /// long as this object.
    [[nodiscard]] const Setting *deciding() const;
    /// Whether the application starts automatically.
    [[nodiscard]] bool isEnabled() const;
};

/// Read access to the autostart settings. Nothing is cached; every call reads the disk. Usable from
/// one thread, the one of `findings`.
class Settings
{
public:
    /// @param findings has to outlive this object.
    Settings(const Places &places, Core::Findings &findings);

    /// The settings of one application for a user, by layer.
    [[nodiscard]] Layers layersOf(const QString &application, int uid) const;
    /// The settings of every application that has any for the user or for all users.
    [[nodiscard]] QMap<QString, Layers> allLayers(int uid) const;
    /// Ids of the applications that start for a user, sorted. The user's own settings take
    /// precedence over those for all users, and these over the system's.
    [[nodiscard]] QStringList enabledApplications(int uid) const;

private:
    [[nodiscard]] Layers layers(int uid) const;

    const Places m_places;
    Core::Findings &m_findings;
};

} // namespace Autostart

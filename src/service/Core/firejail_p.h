#pragma once

#include "common/Core/error.h"

#include <QByteArrayList>
#include <QPair>
#include <QStringList>
#include <QVector>

namespace Core {

/// Path of the permission file called `name`: in the first of `directories` (each ending with a
/// slash) that has it, empty when none has.
[[nodiscard]] QString permissionPath(const QString &name, const QStringList &directories);

/// One option per permission that has a file in `directories`, in the order of `permissions`; a
/// warning for every other, and for one whose name holds a blank or a character that means
/// something in a unit.
[[nodiscard]] QByteArrayList permissionOptions(const QStringList &permissions,
                                               const QStringList &directories);

/// The settings of a Firejail, and how they become a command line. Byte arrays are UTF-8.
class FirejailPrivate
{
public:
    /// See Firejail::computeArgv().
    [[nodiscard]] QPair<QByteArrayList, Error> computeArgv(const QByteArrayList &arguments,
                                                           const QStringList &permissions) const;
    /// Whether the sandbox may start `program`.
    [[nodiscard]] Error checkExecutable(const QByteArray &program) const;
    /// Path of the profile called `name`, empty when there is none.
    [[nodiscard]] QString profilePath(const QString &name) const;

    QString rootDirectory;
    QStringList profiles;
    QByteArray organizationName;
    QByteArray applicationName;
    QByteArray sharingName;
    QByteArray secondaryExecutable;
    QString desktopFile;
    QStringList extraOptions;
    QVector<qint32> keepFds;
    QByteArray dataName;
    QByteArray ownedUserBusName;
    bool noUserBus = false;
    bool legacy = false;
    bool debug = false;
    bool homeless = false;

private:
    // Each appends one group of options.
    void appendLauncher(QByteArrayList &argv, const QByteArray &program) const;
    void appendIdentity(QByteArrayList &argv) const;
    void appendReadableData(QByteArrayList &argv) const;
    void appendLegacyHome(QByteArrayList &argv) const;
    void appendApplication(QByteArrayList &argv) const;
    void appendSharingGroup(QByteArrayList &argv) const;
    void appendOrganization(QByteArrayList &argv) const;
    Error appendProfiles(QByteArrayList &argv) const;
};

} // namespace Core

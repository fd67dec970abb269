#pragma once

#include "common/Core/error.h"
#include "common/Core/findings.h"
#include "common/places.h"
#include "service/Core/sandbox_line.h"

#include <QByteArrayList>
#include <QPair>
#include <QStringList>
#include <QVector>

#include <optional>

namespace Core {

/// Path of the permission file `name` in the first of `directories` (each ending with a slash) that
/// has it below `root`; empty when none has. The result is without the root.
[[nodiscard]] QString permissionPath(const QString &name, const QStringList &directories,
                                     const QString &root = {});

/// One option per permission that has a file, in the order of `permissions`. Every other is
/// reported to `findings`, as is a name with a blank or a character that is special in a unit.
[[nodiscard]] QVector<SandboxWord> permissionWords(const QStringList &permissions,
                                                   const Places &places, Findings &findings);

/// The settings of a Firejail, and how they become a command line. Byte arrays are UTF-8.
class FirejailPrivate
{
public:
    /// See Firejail::computeArgv().
    [[nodiscard]] QPair<QByteArrayList, Error> computeArgv(const QByteArrayList &arguments,
                                                           const QStringList &permissions) const;
    /// See Firejail::computeWords().
    [[nodiscard]] QPair<QVector<SandboxWord>, Error> computeWords(const QByteArrayList &arguments,
                                                                  const QStringList &permissions,
                                                                  Findings &findings) const;
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
    /// Without a value: Places::ofProcess() at each call.
    std::optional<Places> places;

private:
    [[nodiscard]] Places placesInUse() const;
    // Each appends one group of options.
    void appendLauncher(SandboxLine &argv, const QByteArray &program) const;
    void appendIdentity(SandboxLine &argv) const;
    void appendReadableData(SandboxLine &argv) const;
    void appendLegacyHome(SandboxLine &argv) const;
    void appendApplication(SandboxLine &argv) const;
    void appendSharingGroup(SandboxLine &argv) const;
    void appendOrganization(SandboxLine &argv) const;
    Error appendProfiles(SandboxLine &argv) const;
};

} // namespace Core

#pragma once

#include "common/Core/error.h"
#include "service/Core/sandbox_line.h"

#include <QByteArrayList>
#include <QPair>
#include <QStringList>
#include <QVector>

#include <memory>

struct Places;

namespace Core {

class Findings;
class FirejailPrivate;

/// Describes the sandbox of one program and computes the command line that runs the program in
/// it. Reads the file system (executable checks, profile and permission look-up); writes and
/// starts nothing. Every setting starts empty or false.
class Firejail
{
public:
    Firejail();
    ~Firejail();
    Firejail(const Firejail &) = delete;
    Firejail &operator=(const Firejail &) = delete;

    /// Prefix of the launcher's path and of the profile directory; empty means "/".
    void setRootDirectory(const QString &directory);
    /// Extra profiles: a path where the entry starts with "/", else a profile's name.
    void setProfiles(const QStringList &profiles);
    void setOrganizationName(const QString &name);
    void setApplicationName(const QString &name);
    /// A data-sharing group inside the organization.
    void setSharingName(const QString &name);
    /// A second program that the sandbox must also contain.
    void setSecondaryExecutable(const QString &program);
    void setDesktopFile(const QString &path);
    /// Options for the launcher, passed through as they stand.
    void setExtraOptions(const QStringList &options);
    /// File descriptors that stay open in the sandbox.
    void setKeepFds(const QVector<qint32> &fds);
    /// Directory below /usr/share that the sandbox may read.
    void setDataName(const QString &name);
    /// A name on the user's bus that the program may own.
    void setOwnedUserBusName(const QString &name);
    /// Forbids the session bus altogether.
    void setNoUserBus(bool noUserBus);
    /// A program named by its file alone, which must lie in /usr/bin.
    void setLegacy(bool legacy);
    /// Lets the launcher print its diagnostics.
    void setDebug(bool debug);
    /// Gives the program no directories of its own in the user's home.
    void setHomeless(bool homeless);

    /// Where permission files and programs are, and whether programs are examined at all: files are
    /// looked for below the programs' root, and named without it. Until this is called, those
    /// of the process when a command line is computed.
    void setPlaces(const Places &places);

    /// The whole command line.
    /// @param arguments the program and its arguments.
    /// @param permissions names of permission files; one that is unknown, or whose name would
    /// not keep its text in a unit, is logged and left out.
    /// @return the vector and success, or an empty vector and what is wrong with the description.
    [[nodiscard]] QPair<QByteArrayList, Error> computeArgv(const QByteArrayList &arguments,
                                                           const QStringList &permissions) const;
    /// The same, each word with what it comes from; unknown permissions are reported to `findings`.
    [[nodiscard]] QPair<QVector<SandboxWord>, Error> computeWords(const QByteArrayList &arguments,
                                                                  const QStringList &permissions,
                                                                  Findings &findings) const;

private:
    std::unique_ptr<FirejailPrivate> const d;
};

} // namespace Core

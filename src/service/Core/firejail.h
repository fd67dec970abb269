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
    /// Extra profiles: each is a path if it starts with "/", else a profile's name.
    void setProfiles(const QStringList &profiles);
    void setOrganizationName(const QString &name);
    void setApplicationName(const QString &name);
    /// A data-sharing group inside the organization.
    void setSharingName(const QString &name);
    /// A second program that the sandbox must also contain.
    void setSecondaryExecutable(const QString &program);
    void setDesktopFile(const QString &path);
    /// Options for the launcher, passed on unchanged.
    void setExtraOptions(const QStringList &options);
    /// File descriptors that stay open in the sandbox.
    void setKeepFds(const QVector<qint32> &fds);
    /// Directory below /usr/share that the sandbox may read.
    void setDataName(const QString &name);
    /// A name on the user's bus that the program may own.
    void setOwnedUserBusName(const QString &name);
    /// Forbids the session bus altogether.
    void setNoUserBus(bool noUserBus);
    /// Marks a legacy application, whose program must be directly in /usr/bin.
    void setLegacy(bool legacy);
    /// Lets the launcher print its diagnostics.
    void setDebug(bool debug);
    /// Gives the program no directories of its own in the user's home.
    void setHomeless(bool homeless);

    /// Where permission files and programs are, and whether programs are checked at all. Files are
    /// looked up below the programs' root, and named without it. Default: Places::ofProcess() at
    /// the time a command line is computed.
    void setPlaces(const Places &places);

    /// The whole command line.
    /// @param arguments the program and its arguments.
    /// @param permissions names of permission files. One that is unknown, or that systemd would not
    /// read as one plain word, is logged and left out.
    /// @return the words and success, or no words and the error.
    [[nodiscard]] QPair<QByteArrayList, Error> computeArgv(const QByteArrayList &arguments,
                                                           const QStringList &permissions) const;
    /// The same, each word with its source; unknown permissions are reported to `findings`.
    [[nodiscard]] QPair<QVector<SandboxWord>, Error> computeWords(const QByteArrayList &arguments,
                                                                  const QStringList &permissions,
                                                                  Findings &findings) const;

private:
    std::unique_ptr<FirejailPrivate> const d;
};

} // namespace Core

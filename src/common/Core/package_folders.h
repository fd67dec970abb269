#pragma once

#include "files/file_state.h"

#include <QByteArray>
#include <QSet>
#include <QString>

#include <optional>

struct Places;

namespace Core {

/// The states of those files of a package that are read.
struct PackageStates
{
    FileState manifest;
    FileState certificate;
};

/// Which applications may have a package. One listing of the folder of packages replaces two
/// look-ups for each application. A value; usable from any thread.
class PackageFolders
{
public:
    /// Without a listing: any application may have a package.
    PackageFolders() = default;
    /// Lists the folder.
    explicit PackageFolders(const Places &places);

    /// False when the application certainly has no package.
    [[nodiscard]] bool mayHave(const QString &applicationId) const;
    /// The current states of the package's files.
    [[nodiscard]] PackageStates statesOf(const QString &applicationId, const Places &places) const;

private:
    /// Names of the folders; nothing when there is no listing.
    std::optional<QSet<QByteArray>> m_names;
};

} // namespace Core

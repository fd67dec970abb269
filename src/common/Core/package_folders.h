#pragma once

#include "files/file_state.h"

#include <QByteArray>
#include <QSet>
#include <QString>

#include <optional>

struct Places;

namespace Core {

/// What the files of a package that are read were like before that.
struct PackageStates
{
    FileState manifest;
    FileState certificate;
};

/// Which applications may have a package, by one listing of the folder of packages instead of two
/// look-ups for each application. A value; usable from any thread.
class PackageFolders
{
public:
    /// Knows of none, so that each application may have one.
    PackageFolders() = default;
    /// Lists the folder.
    explicit PackageFolders(const Places &places);

    /// False when none of the package's files can be there.
    [[nodiscard]] bool mayHave(const QString &applicationId) const;
    /// What the package's files are like now.
    [[nodiscard]] PackageStates statesOf(const QString &applicationId, const Places &places) const;

private:
    /// Nothing when they are not known.
    std::optional<QSet<QByteArray>> m_names;
};

} // namespace Core

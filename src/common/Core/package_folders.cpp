#include "common/Core/package_folders.h"

#include "common/places.h"
#include "files/folder_listing.h"

#include <QFile>

namespace Core {

namespace {

FileState stateOf(const QString &path, const Places &places)
{
    return FileState::of(QFile::encodeName(places.real(path)).constData());
}

} // namespace

PackageFolders::PackageFolders(const Places &places)
    : m_names(namesIn(places.real(places.packages())))
{
}

bool PackageFolders::mayHave(const QString &applicationId) const
{
    // An id with a slash names a folder inside another, which the listing does not show.
    return !m_names || applicationId.contains(QLatin1Char('/'))
        || m_names->contains(QFile::encodeName(applicationId));
}

PackageStates PackageFolders::statesOf(const QString &applicationId, const Places &places) const
{
    if (!mayHave(applicationId))
        return {};
    return {stateOf(places.manifestFile(applicationId), places),
            stateOf(places.certificateFile(applicationId), places)};
}

} // namespace Core

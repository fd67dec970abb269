#include "cli/why/entry_search.h"

#include "common/places.h"

#include <QFileInfo>

#include <mdesktopentry.h>

namespace Cli {

namespace {

QString fileNameOf(const QString &application) { return application + QStringLiteral(".desktop"); }

bool mayBeEntryOf(const QString &file, const QString &application, const Places &places)
{
    const MDesktopEntry entry(places.real(file));
    return QFileInfo(file).fileName() == fileNameOf(application)
        || Core::ApplicationId(entry.appOrgname(), entry.appName()).toString() == application;
}

EntryCandidate amongInvalid(const QString &application, const Core::ApplicationCatalogue &catalogue,
                            const Places &places)
{
    for (const QString &file : catalogue.invalidFiles()) {
        if (mayBeEntryOf(file, application, places))
            return {EntryCandidate::NotValid, file};
    }
    return {};
}

EntryCandidate amongOthers(const QString &application, const Core::ApplicationCatalogue &catalogue)
{
    const QString name = fileNameOf(application);
    for (const Core::ApplicationInfo &other : catalogue.applications()) {
        const QString &file = other.desktopFilePath();
        if (QFileInfo(file).fileName() == name)
            return {EntryCandidate::OtherId, file, {}, other.applicationId().toString()};
    }
    return {};
}

EntryCandidate elsewhere(const QString &application, const Places &places)
{
    const QString name = fileNameOf(application);
    for (const QString &folder : places.applicationFolders) {
        const QString target = folder + QLatin1Char('/') + name;
        for (const QString &file : places.filesBelow(folder, {QStringLiteral("*")})) {
            // Also finds names in other letter case, which the readers do not accept.
            if (file != target && QFileInfo(file).fileName().startsWith(name, Qt::CaseInsensitive))
                return {EntryCandidate::Elsewhere, file, target};
        }
    }
    return {};
}

} // namespace

EntryCandidate candidateFor(const QString &application, const Core::ApplicationCatalogue &catalogue,
                            const Places &places)
{
    EntryCandidate found = amongInvalid(application, catalogue, places);
    if (found.kind == EntryCandidate::None)
        found = amongOthers(application, catalogue);
    if (found.kind == EntryCandidate::None)
        found = elsewhere(application, places);
    return found;
}

} // namespace Cli

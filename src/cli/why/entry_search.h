#pragma once

#include "common/Core/application_catalogue.h"

#include <QString>

struct Places;

namespace Cli {

/// A file that was probably meant to be an application's desktop entry but is not used as one.
struct EntryCandidate
{
    enum Kind {
        None,
        /// It is not valid.
        NotValid,
        /// It has the application's file name but declares another id.
        OtherId,
        /// It is not in a folder that is read, or its name has another extension.
        Elsewhere
    };

    Kind kind = None;
    QString file{};
    /// The path where the file would be read.
    QString target{};
    /// The id that it declares.
    QString id{};
};

/// Looks for the entry of an application that is not in the catalogue.
[[nodiscard]] EntryCandidate candidateFor(const QString &application,
                                          const Core::ApplicationCatalogue &catalogue,
                                          const Places &places);

} // namespace Cli

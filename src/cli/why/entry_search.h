#pragma once

#include "common/Core/application_catalogue.h"

#include <QString>

struct Places;

namespace Cli {

/// The desktop entry that somebody may take for an application's though it is none.
struct EntryCandidate
{
    enum Kind {
        None,
        /// It would be, if it were valid.
        NotValid,
        /// It has the application's file name and declares another id.
        OtherId,
        /// It is not where entries are read, or its name has another ending.
        Elsewhere
    };

    Kind kind = None;
    QString file{};
    /// Where the file would be read.
    QString target{};
    /// The id that it declares.
    QString id{};
};

/// Looks for the entry of an application that is not in the catalogue.
[[nodiscard]] EntryCandidate candidateFor(const QString &application,
                                          const Core::ApplicationCatalogue &catalogue,
                                          const Places &places);

} // namespace Cli

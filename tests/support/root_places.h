#pragma once

#include "common/places.h"
#include "support/literals.h"
#include "support/temp_root.h"

/// The places that a process with the environment TempRoot::environment() uses, all of them below a
/// test's root.
inline Places placesOf(const TempRoot &root)
{
    Places places;
    places.root = root.path();
    for (const char *data : {"/home/data", "/usr/share"}) {
        const QString folder = root.path(QString::fromLatin1(data));
        places.applicationFolders.append(folder + u"/applications"_s);
        places.taskTypeFolders.append(folder + u"/orvane/task-types"_s);
    }
    places.configFolder = root.path(u"/home/config"_s);
    return places;
}

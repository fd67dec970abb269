#pragma once

#include "common/Core/application_id.h"
#include "common/Core/application_info.h"
#include "common/Core/manifest.h"
#include "common/Core/package_folders.h"

#include <QMap>
#include <QString>
#include <QStringList>

namespace Core {

/// The record behind ApplicationInfo.
class ApplicationInfoPrivate
{
public:
    QString desktopFilePath;
    ApplicationId applicationId;
    QMap<QString, ApplicationInfo::IntentInfo> intents;
    QMap<QString, ApplicationInfo::TaskInfo> tasks;
    ApplicationInfo::LaunchInfo launch;
    QString name;
    QString icon;
    QStringList mimeTypes;
    bool supportsMimeParents = false;
    Manifest manifest;
    QString certificateId;
    PackageStates packageStates;
    bool valid = false;
};

} // namespace Core

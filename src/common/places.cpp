#include "common/places.h"

#include "common/root_path.h"

#include <QDir>
#include <QStandardPaths>

namespace {

QString taskTypesIn(const QString &dataFolder)
{
    return dataFolder + QStringLiteral("/orvane/task-types");
}

QStringList permissionFoldersOfASystem()
{
    return {QStringLiteral("/etc/sailjail/permissions/"),
            QStringLiteral("/var/lib/sailjail/permissions/")};
}

} // namespace

Places Places::ofEnvironment()
{
    Places places;
    places.root = rootPrefix();
    places.applicationFolders =
        QStandardPaths::standardLocations(QStandardPaths::ApplicationsLocation);
    const QStringList dataFolders =
        QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation);
    for (const QString &folder : dataFolders)
        places.taskTypeFolders.append(taskTypesIn(folder));
    places.permissionFolders = permissionFoldersOfASystem();
    places.configFolder = QStandardPaths::writableLocation(QStandardPaths::ConfigLocation);
    places.programsAreExamined = !qEnvironmentVariableIsSet("ORVANE_COMPONENT_TESTS");
    return places;
}

Places Places::below(const QString &root)
{
    Places places;
    const QString clean = QDir::cleanPath(root);
    places.root = clean == QLatin1String("/") ? QString() : clean;
    places.programRoot = places.root;
    for (const char *data : {"/usr/local/share", "/usr/share"}) {
        const QString folder = places.root + QLatin1String(data);
        places.applicationFolders.append(folder + QStringLiteral("/applications"));
        places.taskTypeFolders.append(taskTypesIn(folder));
    }
    places.permissionFolders = permissionFoldersOfASystem();
    places.configFolder = places.root + QStringLiteral("/root/.config");
    return places;
}

QString Places::packageFile(const QString &applicationId, const QString &name) const
{
    return QStringLiteral("%1/opt/app/%2/current/%3").arg(root, applicationId, name);
}

QString Places::versionOverrides() const
{
    return root + QStringLiteral("/etc/orvane/os-version-support.cfg");
}

QString Places::unitFolder() const { return root + QStringLiteral("/etc/systemd/system"); }

QString Places::policyFolder() const { return root + QStringLiteral("/etc/dbus-1/system.d"); }

QString Places::systemAutostartFolder() const
{
    return QDir(root + QStringLiteral("/etc/am/conf.d")).absolutePath();
}

QString Places::runtimeAutostartFolder() const
{
    return QDir(root + QStringLiteral("/var/lib/am/apps")).absolutePath();
}

QString Places::process(uint id) const { return root + QStringLiteral("/proc/%1").arg(id); }

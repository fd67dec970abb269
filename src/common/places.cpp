#include "common/places.h"

#include "common/root_path.h"
#include "files/folder_listing.h"
#include "files/path_below.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStandardPaths>

#include <algorithm>
#include <optional>

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

QString languagesOfEnvironment()
{
    QStringList languages;
    for (const char *variable : {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"})
        languages.append(qEnvironmentVariable(variable));
    return languages.join(QLatin1Char('\n'));
}

// Patterns are case-sensitive.
QVector<QRegularExpression> expressionsOf(const QStringList &patterns)
{
    QVector<QRegularExpression> expressions;
    for (const QString &pattern : patterns)
        expressions.append(
            QRegularExpression(QRegularExpression::wildcardToRegularExpression(pattern)));
    return expressions;
}

std::optional<Places> &placesOfProcess()
{
    static std::optional<Places> places;
    return places;
}

} // namespace

Places Places::ofProcess()
{
    const std::optional<Places> &places = placesOfProcess();
    return places ? *places : ofEnvironment();
}

void Places::setOfProcess(const Places &places) { placesOfProcess() = places; }

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
    const QString runtimeFolder = qEnvironmentVariable("RUNTIME_DIRECTORY");
    if (!runtimeFolder.isEmpty())
        places.recordsFile = runtimeFolder + QStringLiteral("/applications.records");
    places.languages = languagesOfEnvironment();
    places.programsAreExamined = !qEnvironmentVariableIsSet("ORVANE_COMPONENT_TESTS");
    return places;
}

Places Places::below(const QString &root)
{
    Places places;
    const QString absolute =
        root.isEmpty() ? QString() : QDir::cleanPath(QDir(root).absolutePath());
    places.root = absolute == QLatin1String("/") ? QString() : absolute;
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

QString Places::packages() const { return root + QStringLiteral("/opt/app"); }

QString Places::packageFile(const QString &applicationId, const QString &name) const
{
    return QStringLiteral("%1/%2/current/%3").arg(packages(), applicationId, name);
}

QString Places::manifestFile(const QString &applicationId) const
{
    return packageFile(applicationId, QStringLiteral("manifest.json"));
}

QString Places::certificateFile(const QString &applicationId) const
{
    return packageFile(applicationId, QStringLiteral("halcyn.pkg"));
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

QString Places::real(const QString &path) const
{
    if (programRoot.isEmpty() || !path.startsWith(programRoot + QLatin1Char('/')))
        return path;
    return pathBelow(programRoot, path.mid(programRoot.size()));
}

QVector<ListedFile> Places::filesIn(const QString &folder, const QString &suffix) const
{
    if (programRoot.isEmpty())
        return ::filesIn(folder, suffix);
    // Links are resolved within the image, not within this system.
    QVector<ListedFile> files = ::filesIn(real(folder), suffix, Links::AreNotFollowed);
    const auto isNoFile = [&](ListedFile &file) {
        if (!file.isLink)
            return false;
        const QString path = real(folder + QLatin1Char('/') + file.name);
        file.state = FileState::of(QFile::encodeName(path).constData());
        return !QFileInfo(path).isFile();
    };
    files.erase(std::remove_if(files.begin(), files.end(), isNoFile), files.end());
    return files;
}

QStringList Places::filesBelow(const QString &folder, const QStringList &patterns) const
{
    const QVector<QRegularExpression> expressions = expressionsOf(patterns);
    const auto matches = [&](const QString &path) {
        const QString name = path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
        const auto isMatch = [&](const auto &expression) {
            return expression.match(name).hasMatch();
        };
        return expressions.isEmpty()
            || std::any_of(expressions.begin(), expressions.end(), isMatch);
    };
    QStringList paths;
    const QStringList all = pathsBelow(real(folder));
    for (const QString &below : all) {
        // Excludes folders, and links to pipes and devices.
        if (matches(below) && mayBeFile(real(folder + below)))
            paths.append(folder + below);
    }
    paths.sort();
    return paths;
}

QString Places::firstFile(const QStringList &folders, const QString &name) const
{
    for (const QString &folder : folders) {
        const QString path = folder + QLatin1Char('/') + name;
        if (QFileInfo(real(path)).isFile())
            return path;
    }
    return {};
}

QString Places::process(uint id) const { return root + QStringLiteral("/proc/%1").arg(id); }

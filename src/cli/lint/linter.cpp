#include "cli/lint/linter.h"

#include "cli/lint/entry_checks.h"
#include "cli/lint/entry_text.h"
#include "cli/lint/rules.h"
#include "cli/no_findings.h"
#include "common/Core/application_catalogue.h"
#include "common/Core/manifest.h"
#include "common/Core/mimeapps_list.h"
#include "common/Core/task_type_config.h"
#include "common/Core/version_overrides.h"
#include "common/autostart/settings.h"
#include "common/ini_file.h"
#include "files/foreign_file.h"
#include "files/path_below.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

namespace Cli {

namespace {

void lintEntryFile(const QString &path, const Core::ApplicationInfo &entry, const Places &places,
                   const KnownPlaces &known, Collected &findings)
{
    const ForeignFile file = readForeignFile(places.real(path));
    if (file.state == ForeignFile::TooLarge)
        findings.add(LintRules::entryTooLarge, {path}, QStringLiteral("More than 1 MiB"));
    checkEntryText(path, file.text, findings);
    if (entry.isValid())
        checkEntry(entry, file.text, known, findings);
}

void lintManifest(const QString &path, const Places &places, Collected &findings)
{
    const QString key = QStringLiteral("keepMediaActiveInBackground");
    const QByteArray text = readForeignFile(places.real(path)).text;
    const QJsonObject object = QJsonDocument::fromJson(text).object();
    const int position = text.indexOf('"' + key.toLatin1() + '"');
    if (object.contains(key) && !object.value(key).isBool())
        findings.add(LintRules::manifestBoolean,
                     {path, {}, key, 1 + text.left(position).count('\n')},
                     QStringLiteral("%1 is no boolean").arg(key));
}

void lintEntries(const Places &places, const KnownPlaces &known, Collected &findings)
{
    const Core::ApplicationCatalogue catalogue(places, findings);
    QSet<QString> types;
    for (const Core::ApplicationInfo &entry : catalogue.applications()) {
        lintEntryFile(entry.desktopFilePath(), entry, places, known, findings);
        lintManifest(
            places.packageFile(entry.applicationId().toString(), QStringLiteral("manifest.json")),
            places, findings);
        for (const Core::ApplicationInfo::TaskInfo &task : entry.tasks())
            types.insert(task.type);
    }
    for (const QString &path : catalogue.invalidFiles())
        lintEntryFile(path, {}, places, known, findings);
    // The catalogue has said what the entry's reader says.
    NoFindings said;
    for (const Core::ApplicationCatalogue::Shadowed &shadowed : catalogue.shadowed()) {
        // The others of these are applications above.
        if (shadowed.reason != Core::ApplicationCatalogue::Shadowed::SameFileName)
            lintEntryFile(shadowed.file, Core::ApplicationInfo(shadowed.file, places, said), places,
                          known, findings);
    }
    for (const QString &type : qAsConst(types))
        (void)catalogue.tasksOfType(type, findings);
}

void lintTaskType(const QString &folder, const QString &path, Places places, Collected &findings)
{
    const QString suffix = QStringLiteral(".conf");
    const QString type = QDir(folder).relativeFilePath(path).chopped(suffix.size());
    places.taskTypeFolders = QStringList{folder};
    (void)Core::TaskTypeConfig(type, places, findings);
    const QString group = QStringLiteral("TaskType");
    const QStringList known{QStringLiteral("WorksInSession")};
    const IniFile file(readForeignFile(places.real(path)).text);
    for (const QString &key : file.keys(group)) {
        if (!known.contains(key))
            addUnknownKey({path, group, key, file.value(group, key)->line}, known, findings);
    }
}

void lintTaskTypes(const Places &places, Collected &findings)
{
    for (const QString &folder : places.taskTypeFolders) {
        for (const QString &path : places.filesBelow(folder, {QStringLiteral("*.conf")}))
            lintTaskType(folder, path, places, findings);
    }
}

void lintPermission(const QString &path, const Places &places, Collected &findings)
{
    const ForeignFile file = readForeignFile(places.real(path));
    const QString name = QFileInfo(path).completeBaseName();
    if (file.state != ForeignFile::Read)
        findings.add(LintRules::permissionUnreadable, {path},
                     QStringLiteral("Failed to read %1 %2").arg(path, file.reason));
    if (const int line = firstLineOfOtherBytes(file.text))
        findings.add(LintRules::notUtf8, {path, {}, {}, line},
                     QStringLiteral("Bytes that are not UTF-8"));
    if (!isPermissionName(name))
        findings.add(LintRules::permissionName, {path},
                     QStringLiteral("\"%1\" is no name of a permission").arg(name));
}

void lintPermissions(const Places &places, Collected &findings)
{
    for (const QString &folder : places.permissionFolders) {
        const QDir directory(places.programRoot + folder);
        for (const QString &name :
             QDir(places.real(directory.path()))
                 .entryList({QStringLiteral("*.permission")}, QDir::AllEntries | QDir::System))
            lintPermission(directory.filePath(name), places, findings);
    }
}

// What a file says of one user is read for that user alone.
void lintAutostart(const QString &folder, const QStringList &names, const Places &places,
                   Collected &findings)
{
    QSet<int> users{0};
    for (const QString &path : Autostart::configFilesBelow(folder, names, places)) {
        for (const QString &group : IniFile(readForeignFile(places.real(path)).text).groups())
            users.insert(group.section(QLatin1Char('|'), 1, 1).toInt());
    }
    for (const int user : qAsConst(users))
        (void)Autostart::readConfigFiles(folder, names, user, findings, places);
}

bool isTree(const QString &folder)
{
    for (const char *name : {"usr", "etc", "opt", "var"}) {
        if (QFileInfo(folder + QLatin1Char('/') + QLatin1String(name)).isDir())
            return true;
    }
    return false;
}

// The part of a path in front of what it has in every system; null when it is another path.
QString rootBefore(const QString &path, const QString &below)
{
    return path.endsWith(below) ? path.chopped(below.size()) + QLatin1String("") : QString();
}

bool lintManifestFile(const QString &path, Collected &findings)
{
    // ROOT/opt/app/ID/current/manifest.json
    const QString id = path.section(QLatin1Char('/'), -3, -3);
    const QString below = QStringLiteral("/opt/app/%1/current/manifest.json").arg(id);
    const QString root = rootBefore(path, below);
    if (root.isNull() || !Core::ApplicationId(id).isValid())
        return false;
    (void)Core::Manifest(Core::ApplicationId(id), Places::below(root), findings);
    lintManifest(path, Places::below(root), findings);
    return true;
}

bool lintSettingsFile(const QString &path, const Places &system, Collected &findings)
{
    const QString types = QStringLiteral("/task-types/");
    const int position = path.indexOf(types);
    const QFileInfo file(path);
    if (position >= 0)
        lintTaskType(path.left(position + types.size() - 1), path, system, findings);
    else if (IniFile(readForeignFile(system.real(path)).text)
                 .groups()
                 .contains(QLatin1String("TaskType")))
        lintTaskType(file.absolutePath(), path, system, findings);
    else
        lintAutostart(file.absolutePath(), {file.fileName()}, system, findings);
    return true;
}

bool lintFile(const QString &path, const Places &system, Collected &findings)
{
    if (path.endsWith(QLatin1String(".desktop"))) {
        lintEntryFile(path, Core::ApplicationInfo(path, system, findings), system, {system},
                      findings);
        return true;
    }
    if (path.endsWith(QLatin1String(".permission"))) {
        lintPermission(path, system, findings);
        return true;
    }
    if (path.endsWith(QLatin1String("/manifest.json")))
        return lintManifestFile(path, findings);
    if (path.endsWith(QLatin1String(".conf")))
        return lintSettingsFile(path, system, findings);
    const QString root = rootBefore(path, QStringLiteral("/etc/orvane/os-version-support.cfg"));
    if (!root.isNull())
        (void)Core::VersionOverrides(Places::below(root), findings);
    return !root.isNull();
}

bool lintFolder(const QString &folder, const Places &system, Collected &findings)
{
    Places places;
    places.applicationFolders = QStringList{folder};
    places.root = system.root;
    lintEntries(places, {system}, findings);
    bool hasAny = !QDir(folder).entryList({QStringLiteral("*.desktop")}, QDir::Files).isEmpty();
    QDirIterator files(folder, QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString path = files.next();
        const bool isDone =
            path.endsWith(QLatin1String(".desktop")) && QFileInfo(path).absolutePath() == folder;
        if (!isDone && lintFile(path, system, findings))
            hasAny = true;
    }
    return hasAny;
}

} // namespace

void lintPlaces(const Places &places, const KnownPlaces &known, Collected &findings)
{
    lintEntries(places, known, findings);
    lintTaskTypes(places, findings);
    lintPermissions(places, findings);
    (void)Core::VersionOverrides(places, findings);
    (void)Core::readMimeappsList(places, findings);
    lintAutostart(places.systemAutostartFolder(), Autostart::anyConfigFile(), places, findings);
    lintAutostart(places.runtimeAutostartFolder(), Autostart::anyConfigFile(), places, findings);
}

bool lintPath(const QString &path, const Places &system, Collected &findings)
{
    const QFileInfo file(path);
    const QString absolute = QDir::cleanPath(file.absoluteFilePath());
    if (!file.exists())
        return false;
    if (!file.isDir())
        return lintFile(absolute, system, findings);
    if (!isTree(absolute))
        return lintFolder(absolute, system, findings);
    const Places tree = Places::below(absolute);
    lintPlaces(tree, {tree, system}, findings);
    return true;
}

} // namespace Cli

#include "cli/lint/linter.h"

#include "cli/accounts.h"
#include "cli/lint/entry_checks.h"
#include "cli/lint/entry_text.h"
#include "cli/lint/rules.h"
#include "cli/no_findings.h"
#include "cli/sandbox_files.h"
#include "common/Core/application_catalogue.h"
#include "common/Core/entry_records.h"
#include "common/Core/manifest.h"
#include "common/Core/mimeapps_list.h"
#include "common/Core/task_bounds.h"
#include "common/Core/task_type_config.h"
#include "common/Core/version_overrides.h"
#include "common/autostart/settings.h"
#include "common/ini_file.h"
#include "files/folder_listing.h"
#include "files/foreign_file.h"
#include "files/foreign_file_cache.h"
#include "files/path_below.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

#include <algorithm>
#include <optional>

namespace Cli {

namespace {

void lintText(const QString &path, const Places &places, Collected &findings)
{
    const ForeignFile file = readForeignFile(places.real(path));
    if (file.state == ForeignFile::TooLarge)
        findings.add(LintRules::entryTooLarge, {path}, QStringLiteral("More than 1 MiB"));
    checkEntryText(path, EntryText(file.text), findings);
}

void lintManifest(const QString &path, const Places &places, Collected &findings)
{
    const QString key = QStringLiteral("keepMediaActiveInBackground");
    const QByteArray text = readForeignFile(places.real(path)).text;
    const QJsonObject object = QJsonDocument::fromJson(text).object();
    const auto position = text.indexOf('"' + key.toLatin1() + '"');
    if (object.contains(key) && !object.value(key).isBool())
        findings.add(LintRules::manifestBoolean,
                     {path, {}, key, 1 + static_cast<int>(text.left(position).count('\n'))},
                     QStringLiteral("%1 is not a boolean").arg(key));
}

// Finds manifests that belong to no application; they are never read.
void lintManifests(const Core::ApplicationCatalogue &catalogue, const Places &places,
                   const Places &system, Collected &findings)
{
    std::optional<Core::ApplicationCatalogue> ofSystem;
    const QDir packages(places.real(places.packages()));
    for (const QString &id :
         packages.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)) {
        const QString path = places.manifestFile(id);
        if (catalogue.applications().contains(id) || !QFileInfo::exists(places.real(path)))
            continue;
        NoFindings ignored;
        if (!ofSystem)
            ofSystem.emplace(system, ignored);
        if (!ofSystem->applications().contains(id))
            findings.add(LintRules::manifestOrphan, {path},
                         QStringLiteral("No desktop entry declares %1").arg(id));
    }
}

// Checks each file's text just before the catalogue reads the same file. The cache then saves a
// second read, if the reader is the stand-in; the platform's reader bypasses it.
Core::ApplicationCatalogue lintTexts(const Places &places, Collected &findings)
{
    const ForeignFileCache cache;
    Core::EntryRecords none;
    return Core::ApplicationCatalogue(places, findings, none,
                                      [&](const QString &path, const ListedFile *file) {
                                          if (file != nullptr)
                                              lintText(path, places, findings);
                                      });
}

void lintEntries(const Core::ApplicationCatalogue &catalogue, const Places &places,
                 const KnownPlaces &known, Collected &findings)
{
    // The size in bytes of the tasks of each type.
    QHash<QString, qint64> types;
    for (const Core::ApplicationInfo &entry : catalogue.applications()) {
        checkEntry(entry, known, findings);
        if (entry.manifest().isValid())
            lintManifest(places.manifestFile(entry.applicationId().toString()), places, findings);
        for (const Core::ApplicationInfo::TaskInfo &task : entry.tasks())
            types[task.type] += Core::sizeOf(task);
    }
    NoFindings ignored;
    for (const Core::ApplicationCatalogue::Shadowed &shadowed : catalogue.shadowed()) {
        // The others are in the catalogue's applications, which were checked above.
        if (shadowed.reason != Core::ApplicationCatalogue::Shadowed::SameFileName)
            checkEntry(Core::ApplicationInfo(shadowed.file, places, ignored), known, findings);
    }
    // Called for its findings: it reports the tasks that it leaves out.
    for (auto type = types.constBegin(); type != types.constEnd(); ++type) {
        if (*type > Core::largestTaskList)
            (void)catalogue.tasksOfType(type.key(), findings);
    }
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
                     QStringLiteral("\"%1\" is not a valid permission name").arg(name));
}

void lintPermissions(const Places &places, Collected &findings)
{
    for (const QString &folder : places.permissionFolders) {
        const QDir directory(places.programRoot + folder);
        for (const QString &name :
             QDir(places.real(directory.path()))
                 .entryList({QStringLiteral("*.permission")},
                            QDir::AllEntries | QDir::System | QDir::CaseSensitive))
            lintPermission(directory.filePath(name), places, findings);
    }
}

// Skipped for the tree of a package, which has no sandbox.
void lintBasePermissions(const Places &places, Collected &findings)
{
    if (sandboxProgram(places).path.isEmpty())
        return;
    for (const bool isHomeless : {false, true}) {
        const SandboxFile file = permissionFile(basePermission(isHomeless), places);
        if (file.path.isEmpty())
            findings.add(
                LintRules::basePermissionMissing, {file.expected},
                QStringLiteral("There is no %1.permission").arg(basePermission(isHomeless)));
    }
}

// A file is read once per user that it has settings for, because each reading covers only one user.
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

std::optional<int> numberOf(const QString &text)
{
    bool isNumber = false;
    const int number = text.toInt(&isNumber);
    return isNumber ? std::optional<int>(number) : std::nullopt;
}

// Checks that the users in the groups' names exist. In files that the daemon writes, the file's
// name may give the user.
void lintUsers(const QString &folder, bool isOfDaemon, const Places &places, Collected &findings)
{
    const QString key = QStringLiteral("autostart");
    for (const QString &path :
         Autostart::configFilesBelow(folder, Autostart::anyConfigFile(), places)) {
        const IniFile file(readForeignFile(places.real(path)).text);
        for (const QString &group : file.groups()) {
            std::optional<int> user = numberOf(group.section(QLatin1Char('|'), 1, 1));
            if (!user && isOfDaemon)
                user = numberOf(QFileInfo(path).completeBaseName());
            if (!user || mayBeUser(*user, places.root))
                continue;
            const auto value = file.value(group, key);
            findings.add(LintRules::autostartUserMissing,
                         {path, group, key, value ? value->line : 0},
                         QStringLiteral("There is no user %1").arg(*user));
        }
    }
}

bool isTree(const QString &folder)
{
    for (const char *name : {"usr", "etc", "opt", "var"}) {
        if (QFileInfo(folder + QLatin1Char('/') + QLatin1String(name)).isDir())
            return true;
    }
    return false;
}

// The root of a path that ends with `below`; a null string when it does not.
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

bool isAutostartFile(const QString &path, const IniFile &file)
{
    const QString key = QStringLiteral("autostart");
    const QStringList groups = file.groups();
    return path.contains(QLatin1String("/etc/am/conf.d/"))
        || path.contains(QLatin1String("/var/lib/am/apps/"))
        || std::any_of(groups.begin(), groups.end(),
                       [&](const QString &group) { return file.value(group, key).has_value(); });
}

bool lintSettingsFile(const QString &path, const Places &system, Collected &findings)
{
    const QString types = QStringLiteral("/task-types/");
    const auto position = path.indexOf(types);
    const QFileInfo info(path);
    const IniFile file(readForeignFile(system.real(path)).text);
    if (position >= 0)
        lintTaskType(path.left(position + types.size() - 1), path, system, findings);
    else if (file.groups().contains(QLatin1String("TaskType")))
        lintTaskType(info.absolutePath(), path, system, findings);
    else if (isAutostartFile(path, file))
        lintAutostart(info.absolutePath(), {info.fileName()}, system, findings);
    else
        return false;
    return true;
}

bool lintFile(const QString &path, const Places &system, const KnownPlaces &known,
              Collected &findings)
{
    if (path.endsWith(QLatin1String(".desktop"))) {
        lintText(path, system, findings);
        checkEntry(Core::ApplicationInfo(path, system, findings), known, findings);
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
    const KnownPlaces known({system});
    Places places;
    places.applicationFolders = QStringList{folder};
    places.root = system.root;
    lintEntries(lintTexts(places, findings), places, known, findings);
    bool hasAny = !QDir(folder)
                       .entryList({QStringLiteral("*.desktop")}, QDir::Files | QDir::CaseSensitive)
                       .isEmpty();
    QDirIterator files(folder, QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString path = files.next();
        const bool isDone =
            path.endsWith(QLatin1String(".desktop")) && QFileInfo(path).absolutePath() == folder;
        if (!isDone && lintFile(path, system, known, findings))
            hasAny = true;
    }
    return hasAny;
}

// @param places what is read. Programs, permissions and types that it lacks may be in the system.
void lintPlaces(const Places &places, const Places &system, Collected &findings)
{
    const bool isSystem = places.root == system.root;
    const KnownPlaces known(isSystem ? QVector<Places>{system} : QVector<Places>{places, system});
    const Core::ApplicationCatalogue catalogue = lintTexts(places, findings);
    lintEntries(catalogue, places, known, findings);
    lintManifests(catalogue, places, system, findings);
    lintTaskTypes(places, findings);
    lintPermissions(places, findings);
    lintBasePermissions(places, findings);
    (void)Core::VersionOverrides(places, findings);
    (void)Core::readMimeappsList(places, findings);
    for (const bool isOfDaemon : {false, true}) {
        const QString folder =
            isOfDaemon ? places.runtimeAutostartFolder() : places.systemAutostartFolder();
        lintAutostart(folder, Autostart::anyConfigFile(), places, findings);
        lintUsers(folder, isOfDaemon, places, findings);
    }
}

} // namespace

void lintSystem(const Places &system, Collected &findings) { lintPlaces(system, system, findings); }

bool lintPath(const QString &path, const Places &system, Collected &findings)
{
    const QFileInfo file(path);
    const QString absolute = QDir::cleanPath(file.absoluteFilePath());
    if (!file.exists())
        return false;
    if (!file.isDir())
        return lintFile(absolute, system, KnownPlaces({system}), findings);
    if (!isTree(absolute))
        return lintFolder(absolute, system, findings);
    lintPlaces(Places::below(absolute), system, findings);
    return true;
}

} // namespace Cli

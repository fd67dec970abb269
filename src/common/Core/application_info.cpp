#include "common/Core/application_info.h"
#include "common/Core/application_info_p.h"

#include "common/Core/rules.h"
#include "common/Core/scan_shared.h"
#include "common/Core/task_bounds.h"
#include "common/ini_file.h"
#include "common/key_file_lines.h"
#include "common/places.h"
#include "files/foreign_file.h"

#include <mdesktopentry.h>

#include <algorithm>
#include <optional>

namespace Core {

namespace {

/// The platform's reader of desktop entries, as a class of this program.
class MyDesktopEntry : public MDesktopEntry
{
public:
    using MDesktopEntry::MDesktopEntry;
    ~MyDesktopEntry() override = default;
};

// The value of a key in the first sandbox group that has it. There are three such groups, in order
// of precedence.
// @param inGroup is set to the group's name.
QString sandboxValue(const MDesktopEntry &entry, const QString &key, QString *inGroup = nullptr)
{
    static const QStringList groups{QStringLiteral("X-Application"), QStringLiteral("X-Sailjail"),
                                    QStringLiteral("Sailjail")};
    for (const QString &group : groups) {
        const QString value = entry.value(group, key);
        if (value.isEmpty())
            continue;
        if (inGroup != nullptr)
            *inGroup = group;
        return value;
    }
    return {};
}

// The name of the task that a group declares: the text after the prefix. Empty when it declares
// none.
QString taskNameOfGroup(const QString &group)
{
    for (const QLatin1String prefix : {QLatin1String("X-Task "), QLatin1String("X-Service ")}) {
        if (group.startsWith(prefix))
            return group.mid(prefix.size());
    }
    return {};
}

bool isValidTaskName(const QString &name)
{
    constexpr int longestName = 64;
    const auto isDigit = [](QChar c) { return c >= QLatin1Char('0') && c <= QLatin1Char('9'); };
    const auto isLetter = [](QChar c) {
        return (c >= QLatin1Char('a') && c <= QLatin1Char('z'))
            || (c >= QLatin1Char('A') && c <= QLatin1Char('Z'));
    };
    return name.size() <= longestName && !isDigit(name.at(0))
        && std::all_of(name.begin(), name.end(),
                       [&](QChar c) { return isDigit(c) || isLetter(c); });
}

// Limits on how much is kept of one entry, so that no entry can use much memory. Real entries stay
// far below them.
constexpr int longestId = 1024;
constexpr int longestIntents = 64 << 10;
constexpr int mostMimeTypes = 1024;
constexpr int longestMimeType = 1024;
constexpr int mostNameWarnings = 32;
constexpr int longestNameInLog = 200;

QString mainGroup() { return QStringLiteral("Desktop Entry"); }

/// Makes the findings about one entry, with line numbers. The file is read for the line numbers
/// only when there is a finding. Only the first findings get one, because each costs a search of
/// the file.
class EntryFindings
{
public:
    EntryFindings(const QString &path, const Places &places, Findings &findings)
        : sink(findings)
        , m_path(path)
        , m_places(places)
    {
    }
    [[nodiscard]] Finding of(const Rule &rule, const QString &group, const QString &key = {})
    {
        if (++m_count > mostWithLines)
            return findingOf(rule, {m_path, group, key});
        if (!m_lines)
            m_lines = KeyFileLines::ofFile(m_places.real(m_path));
        const int line = key.isEmpty() ? m_lines->of(group) : m_lines->of(group, key);
        return findingOf(rule, {m_path, group, key, line});
    }

    Findings &sink;

private:
    static constexpr int mostWithLines = 64;

    const QString &m_path;
    const Places &m_places;
    int m_count = 0;
    std::optional<KeyFileLines> m_lines;
};

void boundMimeTypes(QStringList &types, const QString &path, EntryFindings &findings)
{
    const auto declared = types.size();
    const auto isTooLong = [](const QString &type) { return type.size() > longestMimeType; };
    types.erase(std::remove_if(types.begin(), types.end(), isTooLong), types.end());
    types = types.mid(0, mostMimeTypes);
    if (types.size() < declared) {
        ORVANE_WARN(findings.sink,
                    findings.of(Rules::mimeTypesSize, mainGroup(), QStringLiteral("MimeType")))
            << "Too many or too long MIME types:" << declared - types.size() << "are left out of"
            << path;
    }
}

/// Fills a record.
class EntryReader : public ApplicationInfoPrivate
{
public:
    void parse(const QString &path, const Places &places, Findings &sink, ScanShared &shared,
               ApplicationInfo::Extent extent);

private:
    void remarkInvalid(const MDesktopEntry &entry, EntryFindings &findings) const;
    void parseTheRest(const MDesktopEntry &entry, const Places &places,
                      const PackageFolders &packages, EntryFindings &findings);
    void parseIntents(const MDesktopEntry &entry, EntryFindings &findings);
    void parseTasks(const MDesktopEntry &entry, TextPool &texts, EntryFindings &findings);
    void addTask(const QString &taskName, const MDesktopEntry &entry, const QString &group,
                 EntryFindings &findings);
    void parseLaunch(const MDesktopEntry &entry);
    void readCertificate(const Places &places, Findings &findings);
};

void EntryReader::parse(const QString &path, const Places &places, Findings &sink,
                        ScanShared &shared, ApplicationInfo::Extent extent)
{
    desktopFilePath = path;
    EntryFindings findings(desktopFilePath, places, sink);
    const MyDesktopEntry entry(places.real(path));
    if (!entry.isValid()) {
        remarkInvalid(entry, findings);
        return;
    }
    applicationId = ApplicationId(entry.appOrgname(), entry.appName());
    if (!applicationId.isValid() || applicationId.toString().size() > longestId)
        applicationId = ApplicationId::fromDesktopFileName(path);
    if (!applicationId.isValid()) {
        ORVANE_WARN(sink, findingOf(Rules::entryId, {path})) << "Invalid app ID in" << path;
        return;
    }
    if (extent == ApplicationInfo::Everything)
        parseIntents(entry, findings);
    parseTasks(entry, shared.texts, findings);
    if (extent == ApplicationInfo::Everything)
        parseTheRest(entry, places, shared.packages, findings);
    valid = true;
}

void EntryReader::remarkInvalid(const MDesktopEntry &entry, EntryFindings &findings) const
{
    const QString hidden = QStringLiteral("Hidden");
    if (entry.value(hidden) == QLatin1String("true"))
        ORVANE_REMARK(findings.sink, findings.of(Rules::entryHidden, mainGroup(), hidden))
            << "Deleted with Hidden=true:" << desktopFilePath;
    else
        ORVANE_REMARK(findings.sink, findingOf(Rules::entryInvalid, {desktopFilePath}))
            << "Not a valid entry:" << desktopFilePath;
}

void EntryReader::parseTheRest(const MDesktopEntry &entry, const Places &places,
                               const PackageFolders &packages, EntryFindings &findings)
{
    parseLaunch(entry);
    name = entry.name();
    icon = entry.icon();
    mimeTypes = entry.mimeType();
    boundMimeTypes(mimeTypes, desktopFilePath, findings);
    supportsMimeParents = entry.supportMimeParents();
    const QString id = applicationId.toString();
    packageStates = packages.statesOf(id, places);
    if (packages.mayHave(id)) {
        manifest = Manifest(applicationId, places, findings.sink);
        readCertificate(places, findings.sink);
    }
}

void EntryReader::parseIntents(const MDesktopEntry &entry, EntryFindings &findings)
{
    const QString key = QStringLiteral("Intents");
    QString group;
    const QString text = sandboxValue(entry, key, &group);
    if (text.size() > longestIntents) {
        ORVANE_WARN(findings.sink, findings.of(Rules::intentsSize, group, key))
            << "Too many intents in" << desktopFilePath;
        return;
    }
    const QStringList parts = text.split(QLatin1Char(';'), Qt::SkipEmptyParts);
    for (const QString &part : parts) {
        // The text after the first colon is kept whole, including further colons.
        const QStringList nameAndQualifier =
            part.section(QLatin1Char(':'), 0, 0).split(QLatin1Char('/'));
        const QString items = part.section(QLatin1Char(':'), 1);
        intents.insert(
            nameAndQualifier.constFirst(),
            {nameAndQualifier.value(1), items.split(QLatin1Char('|'), Qt::SkipEmptyParts)});
    }
}

void EntryReader::parseTasks(const MDesktopEntry &entry, TextPool &texts, EntryFindings &findings)
{
    int badNames = 0;
    const QStringList groups = entry.groups();
    for (const QString &group : groups) {
        const QString taskName = taskNameOfGroup(group);
        if (taskName.isEmpty())
            continue;
        if (!isValidTaskName(taskName)) {
            // Limited, so that a package cannot fill the log.
            if (++badNames <= mostNameWarnings)
                ORVANE_WARN(findings.sink, findings.of(Rules::taskName, group))
                    << "Invalid task name:" << taskName.left(longestNameInLog);
            continue;
        }
        addTask(taskName, entry, group, findings);
    }
    boundTasksOfApplication(tasks, findings.sink);
    for (ApplicationInfo::TaskInfo &task : tasks)
        texts.share(task);
}

void EntryReader::addTask(const QString &taskName, const MDesktopEntry &entry, const QString &group,
                          EntryFindings &findings)
{
    if (tasks.contains(taskName))
        ORVANE_REMARK(findings.sink, findings.of(Rules::taskTwice, group))
            << "Declared twice:" << taskName;
    const QString exec = entry.value(group, QStringLiteral("Exec"));
    tasks.insert(taskName,
                 {ApplicationTaskId(applicationId, taskName),
                  entry.value(group, QStringLiteral("Type")), exec.isEmpty() ? entry.exec() : exec,
                  entry.stringListValue(group, QStringLiteral("Permissions")),
                  entry.stringListValue(group, QStringLiteral("Conditions")), desktopFilePath,
                  group});
}

void EntryReader::parseLaunch(const MDesktopEntry &entry)
{
    launch.exec = entry.exec();
    launch.execDBus = sandboxValue(entry, QStringLiteral("ExecDBus"));
    launch.service = entry.xMaemoService();
    launch.objectPath = entry.value(QStringLiteral("X-Maemo-Object-Path"));
    if (!launch.service.isEmpty() && launch.objectPath.isEmpty())
        launch.objectPath = QStringLiteral("/");
    launch.method = entry.value(QStringLiteral("X-Maemo-Method"));
    launch.fixedArgs = entry.value(QStringLiteral("X-Maemo-Fixed-Args"));
    launch.dataDirectory = sandboxValue(entry, QStringLiteral("DataDirectory"));
    launch.sandboxed =
        sandboxValue(entry, QStringLiteral("Sandboxing")) != QLatin1String("Disabled");
    launch.singleInstance =
        entry.value(QStringLiteral("X-Nemo-Single-Instance")) != QLatin1String("no");
    launch.singleCover =
        entry.value(QStringLiteral("X-Halcyn-Single-Cover")) == QLatin1String("yes");
    const QString mode = entry.value(QStringLiteral("Mode"));
    launch.customMode = !mode.isEmpty() && mode != QLatin1String("Normal");
}

void EntryReader::readCertificate(const Places &places, Findings &findings)
{
    const QString path = places.certificateFile(applicationId.toString());
    const ForeignFile file = readForeignFile(places.real(path));
    if (file.state != ForeignFile::Read && file.state != ForeignFile::Missing)
        ORVANE_REMARK(findings, findingOf(Rules::packageUnreadable, {path}))
            << "Failed to read" << path << file.reason;
    const auto id = IniFile(file.text).value(QStringLiteral("certificate"), QStringLiteral("id"));
    if (id)
        certificateId = id->text;
}

} // namespace

ApplicationInfo::ApplicationInfo()
    : d(QSharedPointer<ApplicationInfoPrivate>::create())
{
}

ApplicationInfo::ApplicationInfo(const QString &desktopFilePath, const Places &places,
                                 Findings &findings, ScanShared &shared, Extent extent)
{
    const auto record = QSharedPointer<EntryReader>::create();
    record->parse(desktopFilePath, places, findings, shared, extent);
    d = record;
}

ApplicationInfo::ApplicationInfo(const QString &desktopFilePath, const Places &places,
                                 Findings &findings, Extent extent)
{
    ScanShared shared;
    *this = ApplicationInfo(desktopFilePath, places, findings, shared, extent);
}

ApplicationInfo::ApplicationInfo(const QSharedPointer<const ApplicationInfoPrivate> &record)
    : d(record)
{
}

ApplicationInfo::~ApplicationInfo() = default;
ApplicationInfo::ApplicationInfo(const ApplicationInfo &) = default;
ApplicationInfo &ApplicationInfo::operator=(const ApplicationInfo &) = default;

bool ApplicationInfo::isValid() const { return d->valid; }

const QString &ApplicationInfo::desktopFilePath() const { return d->desktopFilePath; }

const ApplicationId &ApplicationInfo::applicationId() const { return d->applicationId; }

const QMap<QString, ApplicationInfo::IntentInfo> &ApplicationInfo::intents() const
{
    return d->intents;
}

const QMap<QString, ApplicationInfo::TaskInfo> &ApplicationInfo::tasks() const { return d->tasks; }

const ApplicationInfo::LaunchInfo &ApplicationInfo::launchInfo() const { return d->launch; }

const QString &ApplicationInfo::name() const { return d->name; }

const QString &ApplicationInfo::icon() const { return d->icon; }

const QStringList &ApplicationInfo::mimeTypes() const { return d->mimeTypes; }

bool ApplicationInfo::supportsMimeParents() const { return d->supportsMimeParents; }

const Manifest &ApplicationInfo::manifest() const { return d->manifest; }

const QString &ApplicationInfo::certificateId() const { return d->certificateId; }

const PackageStates &ApplicationInfo::packageStates() const { return d->packageStates; }

} // namespace Core

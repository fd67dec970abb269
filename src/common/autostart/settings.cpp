#include "common/autostart/settings.h"

#include "common/Core/application_id.h"
#include "common/Core/rules.h"
#include "common/ini_file.h"
#include "common/places.h"
#include "files/foreign_file.h"

#include <QFileInfo>
#include <QMap>
#include <QPair>

#include <algorithm>

namespace Autostart {

namespace {

using Core::findingOf;
namespace Rules = Core::Rules;

// Reads a boolean as QSettings does, so that a file means the same to every program. Values that
// QSettings would deserialise count as false.
bool isTrue(const IniFile::Value &value)
{
    const QString &text = value.text;
    return !value.isList && !text.isEmpty() && !text.startsWith(QLatin1Char('@'))
        && text != QLatin1String("0")
        && text.compare(QLatin1String("false"), Qt::CaseInsensitive) != 0;
}

bool isBoolean(const IniFile::Value &value)
{
    static const QStringList words{QStringLiteral("true"), QStringLiteral("false"),
                                   QStringLiteral("1"), QStringLiteral("0")};
    return !value.isList && words.contains(value.text, Qt::CaseInsensitive);
}

bool isApplication(const QString &id)
{
    return Core::ApplicationId(id).isValid() || id == QLatin1String("enabledMode");
}

// Longest application id, because ids are part of file names.
constexpr int longestId = 255;
// Largest size of all files of one layer together, in bytes; real ones have some kilobytes. The
// answer made from them has to fit into a message of the bus, and all clients wait while they are
// read.
constexpr qint64 mostText = 4 << 20;

// Drops the largest files until the rest fits, so that large files cannot push out small ones.
QStringList withinBounds(const QStringList &paths, const Places &places, Core::Findings &findings)
{
    QVector<QPair<qint64, QString>> smallestFirst;
    for (const QString &path : paths)
        smallestFirst.append({QFileInfo(places.real(path)).size(), path});
    std::sort(smallestFirst.begin(), smallestFirst.end());
    QStringList kept;
    qint64 sum = 0;
    for (const auto &[size, path] : qAsConst(smallestFirst)) {
        sum += qMin(size, mostText);
        if (sum > mostText)
            break;
        kept.append(path);
    }
    if (kept.size() < paths.size()) {
        const QString first = smallestFirst.at(kept.size()).second;
        ORVANE_WARN(findings, findingOf(Rules::autostartSize, {first}))
            << "Autostart settings are too large. Left out:" << paths.size() - kept.size()
            << "files, first" << first;
    }
    kept.sort();
    return kept;
}

/// Reads the groups of one file.
class ConfigFile
{
public:
    ConfigFile(const QString &path, const Places &places, Core::Findings &findings)
        : m_path(path)
        , m_places(places)
        , m_findings(findings)
    {
    }
    void read(int uid, QVector<Setting> &settings) const;

private:
    [[nodiscard]] QByteArray text() const;
    [[nodiscard]] bool appliesTo(const QStringList &parts, const QString &group, int uid) const;
    [[nodiscard]] Setting setting(const IniFile &file, const QString &group,
                                  const QString &application) const;

    const QString &m_path;
    const Places &m_places;
    Core::Findings &m_findings;
};

void ConfigFile::read(int uid, QVector<Setting> &settings) const
{
    const IniFile file(text());
    const QStringList groups = file.groups();
    for (const QString &group : groups) {
        const QStringList parts = group.split(QLatin1Char('|'));
        if (appliesTo(parts, group, uid))
            settings.append(setting(file, group, parts.constFirst()));
    }
}

QByteArray ConfigFile::text() const
{
    const ForeignFile content = readForeignFile(m_places.real(m_path));
    if (content.state != ForeignFile::Read)
        ORVANE_REMARK(m_findings, findingOf(Rules::autostartUnreadable, {m_path}))
            << "Failed to read" << m_path << content.reason;
    return content.text;
}

bool ConfigFile::appliesTo(const QStringList &parts, const QString &group, int uid) const
{
    const QString &application = parts.constFirst();
    if (!isApplication(application) || application.size() > longestId)
        ORVANE_REMARK(m_findings, findingOf(Rules::autostartId, {m_path, group}))
            << "Not an application id:" << application.left(longestId);
    if (application.size() > longestId)
        return false;
    if (parts.size() < 2)
        return true;
    bool isNumber = false;
    const int user = parts.at(1).toInt(&isNumber);
    if (!isNumber)
        ORVANE_REMARK(m_findings, findingOf(Rules::autostartUser, {m_path, group}))
            << "Not a user id:" << parts.at(1).left(longestId);
    return isNumber && user == uid;
}

Setting ConfigFile::setting(const IniFile &file, const QString &group,
                            const QString &application) const
{
    const QString key = QStringLiteral("autostart");
    const auto value = file.value(group, key);
    const int line = value ? value->line : 0;
    if (!value || !isBoolean(*value))
        ORVANE_REMARK(m_findings, findingOf(Rules::autostartBoolean, {m_path, group, key, line}))
            << "Not a boolean for" << application;
    return {application, value && isTrue(*value), m_path, line};
}

QVector<Setting> ofApplication(const QVector<Setting> &settings, const QString &application)
{
    QVector<Setting> chosen;
    std::copy_if(settings.begin(), settings.end(), std::back_inserter(chosen),
                 [&](const Setting &setting) { return setting.application == application; });
    return chosen;
}

} // namespace

QString allUsersFile() { return QStringLiteral("all-users.conf"); }

QString userFile(qint64 uid) { return QString::number(uid) + QStringLiteral(".conf"); }

QStringList anyConfigFile() { return {QStringLiteral("*.conf")}; }

// Includes hidden files, because an application id may start with a dot. Sorted, because two files
// may have settings for the same application and the later one decides.
QStringList configFilesBelow(const QString &directory, const QStringList &nameFilters,
                             const Places &places)
{
    return places.filesBelow(directory, nameFilters);
}

QVector<Setting> readConfigFiles(const QString &directory, const QStringList &nameFilters, int uid,
                                 Core::Findings &findings, const Places &places)
{
    QVector<Setting> settings;
    const QStringList paths =
        withinBounds(configFilesBelow(directory, nameFilters, places), places, findings);
    for (const QString &path : paths)
        ConfigFile(path, places, findings).read(uid, settings);
    return settings;
}

const Setting *Layers::deciding() const
{
    for (const QVector<Setting> *layer : {&user, &allUsers, &system}) {
        if (!layer->isEmpty())
            return &layer->constLast();
    }
    return nullptr;
}

bool Layers::isEnabled() const
{
    const Setting *setting = deciding();
    return setting != nullptr && setting->enabled;
}

Settings::Settings(const Places &places, Core::Findings &findings)
    : m_places(places)
    , m_findings(findings)
{
}

Layers Settings::layers(int uid) const
{
    const auto read = [&](const QString &folder, const QString &filter) {
        return readConfigFiles(folder, {filter}, uid, m_findings, m_places);
    };
    const QString runtime = m_places.runtimeAutostartFolder();
    return {read(m_places.systemAutostartFolder(), anyConfigFile().constFirst()),
            read(runtime, allUsersFile()), read(runtime, userFile(uid))};
}

Layers Settings::layersOf(const QString &application, int uid) const
{
    const Layers all = layers(uid);
    return {ofApplication(all.system, application), ofApplication(all.allUsers, application),
            ofApplication(all.user, application)};
}

QMap<QString, Layers> Settings::allLayers(int uid) const
{
    const Layers all = layers(uid);
    QMap<QString, Layers> byApplication;
    for (const auto layer : {&Layers::system, &Layers::allUsers, &Layers::user}) {
        for (const Setting &setting : all.*layer)
            (byApplication[setting.application].*layer).append(setting);
    }
    return byApplication;
}

QStringList Settings::enabledApplications(int uid) const
{
    const QMap<QString, Layers> all = allLayers(uid);
    QStringList enabled;
    for (auto layers = all.constBegin(); layers != all.constEnd(); ++layers) {
        if (layers->isEnabled())
            enabled.append(layers.key());
    }
    return enabled;
}

} // namespace Autostart

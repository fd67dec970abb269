#include "common/Core/version_overrides.h"

#include "common/Core/application_id.h"
#include "common/Core/rules.h"
#include "common/ini_file.h"
#include "common/places.h"
#include "files/foreign_file.h"
#include "files/read_failures.h"

#include <QVersionNumber>

namespace Core {

namespace {

const QChar wildcard = QLatin1Char('*');

// A wildcard is allowed only as the last part of an id, or as the whole key.
bool isValidKey(const QString &key)
{
    const auto position = key.indexOf(wildcard);
    if (position < 0)
        return true;
    return position == key.size() - 1
        && (position == 0 || key.at(position - 1) == QLatin1Char('.'));
}

} // namespace

VersionOverrides::VersionOverrides(const Places &places, Findings &findings, QObject *parent)
    : QObject(parent)
    , m_path(places.versionOverrides())
    , m_realPath(places.real(m_path))
    , m_findings(findings)
{
    load();
}

void VersionOverrides::reload()
{
    m_versions.clear();
    load();
}

void VersionOverrides::load()
{
    const ReadFailures failures;
    const ForeignFile content = readForeignFile(m_realPath);
    m_isLoaded = !failures.any();
    if (content.state != ForeignFile::Read && content.state != ForeignFile::Missing)
        ORVANE_REMARK(m_findings, findingOf(Rules::overridesUnreadable, {m_path}))
            << "Failed to read" << m_path << content.reason;
    const IniFile file(content.text);
    const QString group = QStringLiteral("Applications");
    const QStringList keys = file.keys(group);
    for (const QString &key : keys) {
        const IniFile::Value value = file.value(group, key).value_or(IniFile::Value());
        const FindingPlace place{m_path, group, key, value.line};
        if (!isValidKey(key)) {
            ORVANE_WARN(m_findings, findingOf(Rules::overrideKey, place))
                << "Invalid version override:" << key;
            continue;
        }
        const QString version = value.text.trimmed();
        if (QVersionNumber::fromString(version).isNull())
            ORVANE_REMARK(m_findings, findingOf(Rules::overrideVersion, place))
                << "Not a version:" << version;
        m_versions.insert(key, version);
    }
}

QString VersionOverrides::versionFor(const ApplicationId &application) const
{
    QString key = application.toString();
    for (;;) {
        const auto version = m_versions.constFind(key);
        if (version != m_versions.constEnd())
            return *version;
        if (key.isEmpty() || key == wildcard)
            return {};
        if (key.endsWith(QLatin1String(".*")))
            key.chop(2);
        key.truncate(key.lastIndexOf(QLatin1Char('.')) + 1);
        key += wildcard;
    }
}

} // namespace Core

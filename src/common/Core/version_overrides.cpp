#include "common/Core/version_overrides.h"

#include "common/Core/application_id.h"
#include "common/ini_file.h"
#include "common/root_path.h"
#include "files/foreign_file.h"

#include <QDebug>

namespace Core {

namespace {

const QChar wildcard = QLatin1Char('*');

// A wildcard stands for whole parts of an id at its end, or for every id.
bool isValidKey(const QString &key)
{
    const int position = key.indexOf(wildcard);
    if (position < 0)
        return true;
    return position == key.size() - 1
        && (position == 0 || key.at(position - 1) == QLatin1Char('.'));
}

} // namespace

VersionOverrides::VersionOverrides(QObject *parent)
    : QObject(parent)
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
    const IniFile file(
        readForeignFile(rootPrefix() + QStringLiteral("/etc/orvane/os-version-support.cfg")).text);
    const QString group = QStringLiteral("Applications");
    const QStringList keys = file.keys(group);
    for (const QString &key : keys) {
        if (isValidKey(key))
            m_versions.insert(key,
                              file.value(group, key).value_or(IniFile::Value()).text.trimmed());
        else
            qWarning() << "Invalid version override:" << key;
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

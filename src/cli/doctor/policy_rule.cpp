#include "cli/doctor/policy_rule.h"

#include "common/places.h"
#include "files/folder_listing.h"
#include "files/foreign_file.h"

#include <QXmlStreamReader>

namespace Cli {

namespace {

bool isOfRoot(const QXmlStreamAttributes &policy)
{
    const auto user = policy.value(QLatin1String("user"));
    return user == QLatin1String("root") || user == QLatin1String("0")
        || policy.value(QLatin1String("context")) == QLatin1String("mandatory");
}

bool isAbout(const QString &name, const QXmlStreamAttributes &rule)
{
    const auto own = rule.value(QLatin1String("own"));
    return own == name || own == QLatin1String("*");
}

void readRules(PolicyRule &rule, const QString &name, const QString &file, const Places &places)
{
    QXmlStreamReader xml(readForeignFile(places.real(file)).text);
    bool isRoots = false;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        const QXmlStreamAttributes attributes = xml.attributes();
        if (xml.name() == QLatin1String("policy"))
            isRoots = isOfRoot(attributes);
        const bool allows = xml.name() == QLatin1String("allow");
        if (isRoots && (allows || xml.name() == QLatin1String("deny")) && isAbout(name, attributes))
            rule = {allows, file, static_cast<int>(xml.lineNumber())};
    }
}

} // namespace

QStringList policyFolders(const Places &places)
{
    return {places.root + QStringLiteral("/usr/share/dbus-1/system.d"), places.policyFolder()};
}

PolicyRule ruleForOwning(const QString &name, const Places &places)
{
    PolicyRule rule;
    for (const QString &folder : policyFolders(places)) {
        for (const ListedFile &file : places.filesIn(folder, QStringLiteral(".conf")))
            readRules(rule, name, folder + QLatin1Char('/') + file.name, places);
    }
    return rule;
}

} // namespace Cli

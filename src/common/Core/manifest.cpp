#include "common/Core/manifest.h"

#include "common/Core/application_id.h"
#include "common/Core/rules.h"
#include "common/places.h"
#include "files/foreign_file.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace Core {

class ManifestPrivate
{
public:
    void parse(const QString &path, const Places &places, Findings &findings);

    // Only the value that is used: a parsed JSON object would take many times the memory of its
    // text.
    bool keepMediaActiveInBackground = false;
    bool valid = false;
};

void ManifestPrivate::parse(const QString &path, const Places &places, Findings &findings)
{
    const ForeignFile file = readForeignFile(places.real(path));
    if (file.state == ForeignFile::Missing)
        return;
    if (file.state != ForeignFile::Read) {
        ORVANE_MENTION(findings, findingOf(Rules::manifestUnreadable, {path}))
            << "Failed to open file:" << path << "reason:" << file.reason;
        return;
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(file.text, &error);
    if (error.error != QJsonParseError::NoError) {
        const int line = 1 + static_cast<int>(file.text.left(error.offset).count('\n'));
        ORVANE_WARN(findings, findingOf(Rules::manifestIgnored, {path}))
            << "Could not parse manifest.json";
        ORVANE_WARN(findings, findingOf(Rules::manifestSyntax, {path, {}, {}, line}))
            << "Parse error at " << error.offset << ":" << error.errorString();
        return;
    }
    if (!document.isObject())
        ORVANE_REMARK(findings, findingOf(Rules::manifestIgnored, {path}))
            << "The manifest is not a JSON object";
    valid = document.isObject();
    keepMediaActiveInBackground =
        document.object().value(QStringLiteral("keepMediaActiveInBackground")).toBool(false);
}

Manifest::Manifest()
    : d(std::make_unique<ManifestPrivate>())
{
}

Manifest::Manifest(const ApplicationId &application, const Places &places, Findings &findings)
    : Manifest()
{
    if (application.isValid())
        d->parse(places.manifestFile(application.toString()), places, findings);
}

Manifest::Manifest(bool keepsMediaActiveInBackground)
    : Manifest()
{
    d->valid = true;
    d->keepMediaActiveInBackground = keepsMediaActiveInBackground;
}

Manifest::~Manifest() = default;

Manifest::Manifest(const Manifest &other)
    : d(std::make_unique<ManifestPrivate>(*other.d))
{
}

Manifest &Manifest::operator=(const Manifest &other)
{
    *d = *other.d;
    return *this;
}

bool Manifest::isValid() const { return d->valid; }

bool Manifest::keepMediaActiveInBackground() const { return d->keepMediaActiveInBackground; }

} // namespace Core

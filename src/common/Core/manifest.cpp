#include "common/Core/manifest.h"

#include "common/Core/application_id.h"
#include "common/root_path.h"
#include "files/foreign_file.h"

#include <QDebug>
#include <QJsonDocument>
#include <QJsonObject>

namespace Core {

class ManifestPrivate
{
public:
    void parse(const QString &path);

    // All that is asked for: an object takes many times the room of its text.
    bool keepMediaActiveInBackground = false;
    bool valid = false;
};

void ManifestPrivate::parse(const QString &path)
{
    const ForeignFile file = readForeignFile(path);
    if (file.state == ForeignFile::Missing)
        return;
    if (file.state != ForeignFile::Read) {
        qDebug() << "Failed to open file:" << path << "reason:" << file.reason;
        return;
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(file.text, &error);
    if (error.error != QJsonParseError::NoError) {
        qWarning() << "Could not parse manifest.json";
        qWarning() << "Parse error at " << error.offset << ":" << error.errorString();
        return;
    }
    valid = document.isObject();
    keepMediaActiveInBackground =
        document.object().value(QStringLiteral("keepMediaActiveInBackground")).toBool(false);
}

Manifest::Manifest()
    : d(std::make_unique<ManifestPrivate>())
{
}

Manifest::Manifest(const ApplicationId &application)
    : Manifest()
{
    if (application.isValid())
        d->parse(QStringLiteral("%1/opt/app/%2/current/manifest.json")
                     .arg(rootPrefix(), application.toString()));
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

#include "common/Core/manifest.h"

#include "common/Core/application_id.h"
#include "common/root_path.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

namespace Core {

class ManifestPrivate
{
public:
    void parse(const QString &path);

    QJsonObject object;
    bool valid = false;
};

void ManifestPrivate::parse(const QString &path)
{
    QFile file(path);
    if (!file.exists())
        return;
    // Opening a pipe would wait for somebody to write to it.
    const QFileInfo info(path);
    if (!info.isFile() && !info.isDir()) {
        qDebug() << "Failed to open file:" << path
                 << "reason:" << QStringLiteral("It is not a regular file");
        return;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        qDebug() << "Failed to open file:" << path << "reason:" << file.errorString();
        return;
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    if (error.error != QJsonParseError::NoError) {
        qWarning() << "Could not parse manifest.json";
        qWarning() << "Parse error at " << error.offset << ":" << error.errorString();
        return;
    }
    valid = document.isObject();
    object = document.object();
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

bool Manifest::keepMediaActiveInBackground() const
{
    return d->object.value(QStringLiteral("keepMediaActiveInBackground")).toBool(false);
}

} // namespace Core

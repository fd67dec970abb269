#include "common/Core/mimeapps_list.h"

#include "common/Core/rules.h"
#include "common/atomic_file.h"
#include "common/places.h"
#include "files/foreign_file.h"

#include <QDebug>
#include <QDir>
#include <QFileInfo>

namespace Core {

namespace {

// Empty when the user has no place for settings.
QString filePath(const Places &places)
{
    return places.configFolder.isEmpty() ? QString()
                                         : places.configFolder + QStringLiteral("/mimeapps.list");
}

void addLine(const QString &line, MimeappsEntries &entries)
{
    const int separator = line.indexOf(QLatin1Char('='));
    if (line.startsWith(QLatin1Char('[')) || line.startsWith(QLatin1Char('#')) || separator < 0)
        return;
    entries[line.left(separator).trimmed()] +=
        line.mid(separator + 1).trimmed().split(QLatin1Char(';'), Qt::SkipEmptyParts);
}

} // namespace

MimeappsEntries readMimeappsList(const Places &places, Findings &findings)
{
    const QString path = filePath(places);
    const ForeignFile file = readForeignFile(path);
    if (path.isEmpty() || file.state == ForeignFile::Missing)
        return {};
    if (file.state != ForeignFile::Read) {
        ORVANE_WARN(findings, findingOf(Rules::mimeappsUnreadable, {path}))
            << "Failed to open file" << path;
        return {};
    }
    MimeappsEntries entries;
    const QList<QByteArray> lines = file.text.split('\n');
    for (const QByteArray &line : lines)
        addLine(QString::fromUtf8(line), entries);
    for (QStringList &files : entries)
        files.removeDuplicates();
    return entries;
}

void writeMimeappsList(const Places &places, const QMap<QString, QString> &defaults)
{
    const QString path = filePath(places);
    if (path.isEmpty())
        return;
    const QString directory = QFileInfo(path).path();
    // A directory that cannot be made shows in the next step too.
    if (!QDir().mkpath(directory))
        qWarning() << "Failed to create directory" << directory;
    QByteArray text = "[Default Applications]\n";
    for (auto entry = defaults.constBegin(); entry != defaults.constEnd(); ++entry)
        text += entry.key().toUtf8() + '=' + entry.value().toUtf8() + '\n';
    const FileWrite result = writeFileAtomically(path, text);
    if (result == FileWrite::CannotOpen)
        qWarning() << "Failed to open file" << path;
    else if (result == FileWrite::Incomplete)
        qWarning() << "Could not write file" << path;
}

} // namespace Core

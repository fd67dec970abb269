#include "common/Core/mimeapps_list.h"

#include "common/atomic_file.h"
#include "files/foreign_file.h"

#include <QDebug>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

namespace Core {

namespace {

// Empty when the user has no place for settings.
QString filePath()
{
    const QString directory = QStandardPaths::writableLocation(QStandardPaths::ConfigLocation);
    return directory.isEmpty() ? QString() : QStringLiteral("%1/mimeapps.list").arg(directory);
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

MimeappsEntries readMimeappsList()
{
    const QString path = filePath();
    const ForeignFile file = readForeignFile(path);
    if (path.isEmpty() || file.state == ForeignFile::Missing)
        return {};
    if (file.state != ForeignFile::Read) {
        qWarning() << "Failed to open file" << path;
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

void writeMimeappsList(const QMap<QString, QString> &defaults)
{
    const QString path = filePath();
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

#include "common/Core/mimeapps_list.h"

#include "common/atomic_file.h"

#include <QDebug>
#include <QDir>
#include <QFile>
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
    QStringList &files = entries[line.left(separator).trimmed()];
    const QStringList listed =
        line.mid(separator + 1).trimmed().split(QLatin1Char(';'), Qt::SkipEmptyParts);
    for (const QString &file : listed) {
        if (!files.contains(file))
            files.append(file);
    }
}

} // namespace

MimeappsEntries readMimeappsList()
{
    const QString path = filePath();
    QFile file(path);
    if (path.isEmpty() || !file.exists())
        return {};
    if (!file.open(QIODevice::ReadOnly)) {
        qWarning() << "Failed to open file" << path;
        return {};
    }
    MimeappsEntries entries;
    while (!file.atEnd()) {
        QString line = QString::fromUtf8(file.readLine());
        while (line.endsWith(QLatin1Char('\n')) || line.endsWith(QLatin1Char('\r')))
            line.chop(1);
        addLine(line, entries);
    }
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

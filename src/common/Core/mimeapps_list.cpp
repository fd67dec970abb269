#include "common/Core/mimeapps_list.h"

#include "common/Core/rules.h"
#include "common/atomic_file.h"
#include "common/directories.h"
#include "common/places.h"
#include "files/foreign_file.h"

#include <QDebug>
#include <QFileInfo>
#include <QSet>
#include <QStringList>

#include <algorithm>

namespace Core {

namespace {

constexpr const char *defaultsGroup = "[Default Applications]";

void removeRepeated(QVector<ChosenFile> &files)
{
    QSet<QString> seen;
    const auto isRepeated = [&seen](const ChosenFile &file) {
        const auto before = seen.size();
        seen.insert(file.name);
        return seen.size() == before;
    };
    files.erase(std::remove_if(files.begin(), files.end(), isRepeated), files.end());
}

void addLine(const QString &line, int number, MimeappsEntries &entries)
{
    const auto separator = line.indexOf(QLatin1Char('='));
    if (line.startsWith(QLatin1Char('[')) || line.startsWith(QLatin1Char('#')) || separator < 0)
        return;
    QVector<ChosenFile> &files = entries[line.left(separator).trimmed()];
    const QStringList names =
        line.mid(separator + 1).trimmed().split(QLatin1Char(';'), Qt::SkipEmptyParts);
    for (const QString &name : names)
        files.append({name, number});
}

MimeappsEntries defaultsIn(const QByteArray &text)
{
    MimeappsEntries entries;
    const QList<QByteArray> lines = text.split('\n');
    bool areDefaults = false;
    for (int at = 0; at < lines.size(); ++at) {
        if (lines.at(at).startsWith('['))
            areDefaults = lines.at(at).trimmed() == defaultsGroup;
        else if (areDefaults)
            addLine(QString::fromUtf8(lines.at(at)), at + 1, entries);
    }
    for (QVector<ChosenFile> &files : entries)
        removeRepeated(files);
    return entries;
}

QByteArray lineOf(const QString &mimeType, const QString &file)
{
    return mimeType.toUtf8() + '=' + file.toUtf8();
}

bool readsBack(const QString &mimeType, const QString &file)
{
    const QByteArray line = lineOf(mimeType, file);
    MimeappsEntries entries;
    addLine(QString::fromUtf8(line), 1, entries);
    const QVector<ChosenFile> files = entries.value(mimeType);
    return !line.contains('\n') && files.size() == 1 && files.constFirst().name == file;
}

QByteArray textOf(const QString &path, const QMap<QString, QString> &defaults)
{
    QByteArray text = QByteArray(defaultsGroup) + '\n';
    for (auto entry = defaults.constBegin(); entry != defaults.constEnd(); ++entry) {
        if (readsBack(entry.key(), entry.value()))
            text += lineOf(entry.key(), entry.value()) + '\n';
        else
            qWarning() << "Not written to" << path
                       << "because it would be read differently:" << entry.key() << entry.value();
    }
    return text;
}

} // namespace

QString mimeappsListPath(const Places &places)
{
    return places.configFolder.isEmpty() ? QString()
                                         : places.configFolder + QStringLiteral("/mimeapps.list");
}

std::optional<MimeappsEntries> readMimeappsList(const Places &places, Findings &findings)
{
    const QString path = mimeappsListPath(places);
    const ForeignFile file = readForeignFile(path);
    if (path.isEmpty() || file.state == ForeignFile::Missing)
        return MimeappsEntries();
    if (file.state != ForeignFile::Read) {
        ORVANE_WARN(findings, findingOf(Rules::mimeappsUnreadable, {path}))
            << "Failed to open file" << path;
        return file.state == ForeignFile::CannotOpen ? std::nullopt
                                                     : std::optional(MimeappsEntries());
    }
    return defaultsIn(file.text);
}

void writeMimeappsList(const Places &places, const QMap<QString, QString> &defaults)
{
    const QString path = mimeappsListPath(places);
    if (path.isEmpty())
        return;
    const QString directory = QFileInfo(path).path();
    // When this fails, writing the file fails, too, and is logged.
    if (!makeDirectory(directory))
        qWarning() << "Failed to create directory" << directory;
    const FileWrite result = writeFileAtomically(path, textOf(path, defaults));
    if (result == FileWrite::CannotOpen)
        qWarning() << "Failed to open file" << path;
    else if (result == FileWrite::Incomplete)
        qWarning() << "Could not write file" << path;
}

} // namespace Core

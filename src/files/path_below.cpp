#include "files/path_below.h"

#include <QFile>
#include <QStringList>

#include <filesystem>
#include <system_error>

namespace {

// The limit of Linux.
constexpr int mostLinks = 40;

QStringList partsOf(const QString &path)
{
    return path.split(QLatin1Char('/'), Qt::SkipEmptyParts);
}

// The target of a symbolic link, unresolved; empty when the path is not a link.
QString linkText(const QString &path)
{
    std::error_code error;
    const auto target = std::filesystem::read_symlink(QFile::encodeName(path).constData(), error);
    return error ? QString() : QFile::decodeName(target.c_str());
}

QString joined(const QString &root, const QStringList &parts)
{
    return root + QLatin1Char('/') + parts.join(QLatin1Char('/'));
}

} // namespace

QString pathBelow(const QString &root, const QString &path)
{
    if (root.isEmpty())
        return path;
    QStringList found;
    QStringList ahead = partsOf(path);
    int links = 0;
    while (!ahead.isEmpty()) {
        const QString part = ahead.takeFirst();
        if (part == QLatin1String(".."))
            found = found.mid(0, found.size() - 1);
        else if (part != QLatin1String("."))
            found.append(part);
        const QString target = linkText(joined(root, found));
        if (target.isEmpty())
            continue;
        if (++links > mostLinks)
            return {};
        found =
            target.startsWith(QLatin1Char('/')) ? QStringList() : found.mid(0, found.size() - 1);
        ahead = partsOf(target) + ahead;
    }
    return joined(root, found);
}

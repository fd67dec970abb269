#include "files/folder_listing.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>

namespace {

struct Closer
{
    void operator()(DIR *folder) const { ::closedir(folder); }
};
using Folder = std::unique_ptr<DIR, Closer>;

Folder opened(const QString &folder)
{
    return Folder(::opendir(QFile::encodeName(folder).constData()));
}

// Null when it is no text.
QString textOf(const char *name)
{
    const QByteArray bytes = QByteArray::fromRawData(name, static_cast<int>(qstrlen(name)));
    const bool isAscii =
        std::none_of(bytes.begin(), bytes.end(), [](char c) { return (c & 0x80) != 0; });
    if (isAscii)
        return QString::fromLatin1(bytes);
    const QString text = QFile::decodeName(bytes);
    return QFile::encodeName(text) == bytes ? text : QString();
}

bool isLink(DIR *folder, const dirent &entry)
{
    if (entry.d_type != DT_UNKNOWN)
        return entry.d_type == DT_LNK;
    struct stat status = {};
    return ::fstatat(::dirfd(folder), entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0
        && S_ISLNK(status.st_mode);
}

// Nothing when it does not count.
std::optional<ListedFile> listed(DIR *folder, const dirent &entry, const QString &name, Links links)
{
    if (entry.d_type != DT_UNKNOWN && entry.d_type != DT_LNK && entry.d_type != DT_REG)
        return {};
    struct stat status = {};
    const int flags = links == Links::AreFollowed ? 0 : AT_SYMLINK_NOFOLLOW;
    if (::fstatat(::dirfd(folder), entry.d_name, &status, flags) != 0 || S_ISDIR(status.st_mode))
        return {};
    const bool link = isLink(folder, entry);
    if (!link && !S_ISREG(status.st_mode))
        return {};
    return ListedFile{name, FileState::of(status), link};
}

} // namespace

QVector<ListedFile> filesIn(const QString &folder, const QString &suffix, Links links)
{
    QVector<ListedFile> files;
    const Folder open = opened(folder);
    while (const dirent *entry = open ? ::readdir(open.get()) : nullptr) {
        if (entry->d_name[0] == '.')
            continue;
        const QString name = textOf(entry->d_name);
        if (!name.endsWith(suffix, Qt::CaseInsensitive))
            continue;
        if (const std::optional<ListedFile> file = listed(open.get(), *entry, name, links))
            files.append(*file);
    }
    std::sort(files.begin(), files.end(),
              [](const ListedFile &a, const ListedFile &b) { return a.name < b.name; });
    return files;
}

std::optional<QSet<QByteArray>> namesIn(const QString &folder)
{
    QSet<QByteArray> names;
    const Folder open = opened(folder);
    if (!open && errno != ENOENT && errno != ENOTDIR)
        return {};
    while (const dirent *entry = open ? ::readdir(open.get()) : nullptr)
        names.insert(entry->d_name);
    return names;
}

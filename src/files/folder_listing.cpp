#include "files/folder_listing.h"

#include "files/read_failures.h"

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

/// Reads a folder's entries, and keeps the error if that fails.
class Listing
{
public:
    explicit Listing(const QString &folder)
        : m_folder(::opendir(QFile::encodeName(folder).constData()))
        , m_error(m_folder ? 0 : errno)
    {
    }
    /// The next entry; null at the end or after an error.
    [[nodiscard]] const dirent *next()
    {
        if (!m_folder)
            return nullptr;
        errno = 0;
        const dirent *entry = ::readdir(m_folder.get());
        if (entry == nullptr)
            m_error = errno;
        return entry;
    }
    [[nodiscard]] bool hasFailed() const
    {
        return m_error != 0 && !ReadFailures::isMissing(m_error);
    }
    /// Reports an error to ReadFailures.
    void noteFailure(const QString &folder) const
    {
        if (hasFailed())
            ReadFailures::note(folder, qt_error_string(m_error));
    }
    [[nodiscard]] DIR *folder() const { return m_folder.get(); }

private:
    const Folder m_folder;
    int m_error;
};

// A null string when the name is not valid in the file system's encoding.
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

bool isFolder(DIR *folder, const dirent &entry)
{
    if (entry.d_type != DT_UNKNOWN)
        return entry.d_type == DT_DIR;
    struct stat status = {};
    return ::fstatat(::dirfd(folder), entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0
        && S_ISDIR(status.st_mode);
}

// Whether stat() failed because there is no such file, rather than because of the system.
bool meansNoFile(int error) { return ReadFailures::isMissing(error) || error == ELOOP; }

// The same for a file that may be a link. A link counts as broken if this process may not see its
// target.
bool meansBrokenLink(int error) { return meansNoFile(error) || error == EACCES; }

// No value when the entry is not to be listed.
std::optional<ListedFile> listed(DIR *folder, const dirent &entry, const QString &name, Links links)
{
    if (entry.d_type != DT_UNKNOWN && entry.d_type != DT_LNK && entry.d_type != DT_REG)
        return {};
    struct stat status = {};
    const int flags = links == Links::AreFollowed ? 0 : AT_SYMLINK_NOFOLLOW;
    if (::fstatat(::dirfd(folder), entry.d_name, &status, flags) != 0) {
        const int error = errno;
        const bool link = isLink(folder, entry);
        if (link ? meansBrokenLink(error) : meansNoFile(error))
            return {};
        return ListedFile{name, FileState(), link};
    }
    if (S_ISDIR(status.st_mode))
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
    Listing listing(folder);
    while (const dirent *entry = listing.next()) {
        if (entry->d_name[0] == '.')
            continue;
        const QString name = textOf(entry->d_name);
        if (!name.endsWith(suffix))
            continue;
        if (const std::optional<ListedFile> file = listed(listing.folder(), *entry, name, links))
            files.append(*file);
    }
    listing.noteFailure(folder);
    std::sort(files.begin(), files.end(),
              [](const ListedFile &a, const ListedFile &b) { return a.name < b.name; });
    return files;
}

QStringList pathsBelow(const QString &folder)
{
    QStringList paths;
    QStringList folders{QString()};
    while (!folders.isEmpty()) {
        const QString below = folders.takeLast();
        Listing listing(folder + below);
        while (const dirent *entry = listing.next()) {
            const QString name = textOf(entry->d_name);
            const bool isDots = name == QLatin1String(".") || name == QLatin1String("..");
            if (!name.isEmpty() && !isDots)
                (isFolder(listing.folder(), *entry) ? folders : paths)
                    .append(below + QLatin1Char('/') + name);
        }
        listing.noteFailure(folder + below);
    }
    return paths;
}

bool mayBeFile(const QString &path)
{
    struct stat status = {};
    if (::stat(QFile::encodeName(path).constData(), &status) != 0)
        return !meansBrokenLink(errno);
    return S_ISREG(status.st_mode);
}

std::optional<QSet<QByteArray>> namesIn(const QString &folder)
{
    QSet<QByteArray> names;
    Listing listing(folder);
    while (const dirent *entry = listing.next())
        names.insert(entry->d_name);
    return listing.hasFailed() ? std::nullopt : std::optional(names);
}

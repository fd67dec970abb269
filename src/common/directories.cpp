#include "common/directories.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr mode_t everythingButTheUmask = S_IRWXU | S_IRWXG | S_IRWXO;

int openDirectory(const QString &path)
{
    const QByteArray name = QFile::encodeName(path);
    return ::open(name.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

bool makeOne(const QString &path)
{
    const OpenDirectory parent(QFileInfo(path).path());
    const QByteArray name = QFile::encodeName(path);
    if (!parent.isOpen())
        return false;
    // Another process may have made it meanwhile.
    if (::mkdir(name.constData(), everythingButTheUmask) != 0)
        return errno == EEXIST && QFileInfo(path).isDir();
    if (parent.sync())
        return true;
    ::rmdir(name.constData());
    return false;
}

} // namespace

OpenDirectory::OpenDirectory(const QString &path)
    : m_descriptor(openDirectory(path))
    , m_isOpen(m_descriptor >= 0 || errno == EACCES)
{
}

OpenDirectory::~OpenDirectory()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

bool OpenDirectory::sync() const
{
    return m_descriptor < 0 || ::fsync(m_descriptor) == 0 || errno == EINVAL || errno == ENOTSUP;
}

bool makeDirectory(const QString &path, QStringList *made)
{
    QStringList missing;
    for (QString place = path; !QFileInfo(place).isDir(); place = QFileInfo(place).path()) {
        // Reached "/" or ".", which has no parent.
        if (!missing.isEmpty() && missing.constFirst() == place)
            return false;
        missing.prepend(place);
    }
    for (int i = 0; i < missing.size(); ++i) {
        if (!makeOne(missing.at(i))) {
            removeMadeDirectories(missing.mid(0, i));
            return false;
        }
    }
    if (made != nullptr)
        *made = missing;
    return true;
}

void removeMadeDirectories(const QStringList &made)
{
    for (auto path = made.crbegin(); path != made.crend(); ++path)
        ::rmdir(QFile::encodeName(*path).constData());
}

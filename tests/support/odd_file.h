#pragma once

#include "support/literals.h"

#include <QFile>
#include <QString>

#include <cstring>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

// The odd things that can be at the path of a file that a program reads, for tests of every reader.

namespace OddFile {

/// Every kind of thing but a small regular file, in words. A program should read none of them.
inline QStringList kinds()
{
    return {u"pipe"_s,
            u"link to a pipe"_s,
            u"directory"_s,
            u"socket"_s,
            u"dangling link"_s,
            u"link to itself"_s,
            u"link to an endless device"_s,
            u"one byte too large"_s,
            u"sparse, 1.5 GB"_s};
}

inline bool makeSocket(const QByteArray &path)
{
    // The name of a socket has to be short, and the path of a temporary folder may be too long.
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= static_cast<int>(sizeof address.sun_path))
        return false;
    std::memcpy(address.sun_path, path.constData(), static_cast<size_t>(path.size()));
    const bool made = ::bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    ::close(fd);
    return made;
}

/// A value of a settings file that ends a program which deserialises it: a list that claims to have
/// two thousand million elements.
inline QByteArray fatalValue() { return "@Variant(\\0\\0\\0\\x9\\x7f\\xff\\xff\\xff)"; }

/// Makes a thing of this kind at a path where nothing is.
/// @param text the text of an ordinary file; the large ones begin with it.
inline bool make(const QString &kind, const QString &path, const QByteArray &text)
{
    const QByteArray name = QFile::encodeName(path);
    const auto is = [&kind](const char *other) { return kind == QLatin1String(other); };
    if (is("pipe"))
        return ::mkfifo(name.constData(), 0644) == 0;
    if (is("link to a pipe"))
        return ::mkfifo((name + "-pipe").constData(), 0644) == 0
            && ::symlink((name + "-pipe").constData(), name.constData()) == 0;
    if (is("directory"))
        return ::mkdir(name.constData(), 0755) == 0;
    if (is("socket"))
        return makeSocket(name);
    if (is("dangling link"))
        return ::symlink("/nowhere/at/all", name.constData()) == 0;
    if (is("link to itself"))
        return ::symlink(name.constData(), name.constData()) == 0;
    if (is("link to an endless device"))
        return ::symlink("/dev/zero", name.constData()) == 0;
    QFile file(path);
    const qint64 size = is("one byte too large") ? (1 << 20) + 1 : 1500000000;
    return file.open(QIODevice::WriteOnly)
        && file.write(text.leftJustified((1 << 20) + 1, '\n')) == (1 << 20) + 1
        && file.resize(size);
}

} // namespace OddFile

// A file or directory that nothing can change.
#pragma once

#include "support/literals.h"

#include <QProcess>
#include <QString>
#include <QStringList>

/// Makes a file or directory refuse every change, even by root, as long as this object exists.
class ImmutablePath
{
public:
    explicit ImmutablePath(const QString &path)
        : m_path(path)
        , m_set(chattr(u"+i"_s))
    {
    }
    ~ImmutablePath()
    {
        if (m_set)
            chattr(u"-i"_s);
    }
    Q_DISABLE_COPY(ImmutablePath)

    /// False where the file system does not support that or the user may not do it.
    [[nodiscard]] bool isSet() const { return m_set; }

private:
    bool chattr(const QString &change) const
    {
        return QProcess::execute(u"chattr"_s, {change, m_path}) == 0;
    }

    const QString m_path;
    const bool m_set;
};

#define MAKE_IMMUTABLE(path)                                                                       \
    const ImmutablePath immutable(path);                                                           \
    if (!immutable.isSet())                                                                        \
    QSKIP("needs a file system and a user that can make files immutable")

#pragma once

#include "files/foreign_file.h"

#include <QString>

#include <optional>

/// Caches the last file that readForeignFile() read in this thread. While an object exists, reading
/// the same path again gives the cached result. For work in which several readers use the same file
/// one after the other: it is read once, and all see the same text.
class ForeignFileCache
{
public:
    ForeignFileCache();
    ~ForeignFileCache();
    Q_DISABLE_COPY(ForeignFileCache)

    /// The newest object that exists in this thread; null when there is none.
    [[nodiscard]] static ForeignFileCache *ofThread();

    /// The cached result; no value when it is of another path or another limit.
    [[nodiscard]] std::optional<ForeignFile> recall(const QString &path, qint64 largest) const;
    void remember(const QString &path, qint64 largest, const ForeignFile &file);
    /// Releases the result, so that the next file can be read into its memory.
    void forget()
    {
        m_path = QString();
        m_file = {};
    }

private:
    ForeignFileCache *const m_outer;
    /// A null string until a file is cached.
    QString m_path;
    qint64 m_largest = 0;
    ForeignFile m_file;
};

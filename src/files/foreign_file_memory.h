#pragma once

#include "files/foreign_file.h"

#include <QString>

#include <optional>

/// While one lives, readForeignFile() of its thread gives what it gave last when it is asked for
/// the same path again. For work that hands one file to several readers, one right after the other:
/// the file is read once, and all of them see the same text.
class ForeignFileMemory
{
public:
    ForeignFileMemory();
    ~ForeignFileMemory();
    Q_DISABLE_COPY(ForeignFileMemory)

    /// The last one that was made in this thread and lives; null when there is none.
    [[nodiscard]] static ForeignFileMemory *ofThread();

    /// What was remembered last; nothing when that was another file or another bound.
    [[nodiscard]] std::optional<ForeignFile> recall(const QString &path, qint64 largest) const;
    void remember(const QString &path, qint64 largest, const ForeignFile &file);

private:
    ForeignFileMemory *const m_outer;
    /// Null before the first file.
    QString m_path;
    qint64 m_largest = 0;
    ForeignFile m_file;
};

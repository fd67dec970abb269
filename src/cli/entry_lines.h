#pragma once

#include "cli/declared_tasks.h"
#include "common/key_file_lines.h"

#include <QString>

namespace Cli {

/// A place in a file.
struct FileLine
{
    QString file;
    /// Counted from 1; 0: the whole file.
    int line = 0;
};

/// Finds the lines of a desktop entry that a task's declaration comes from.
class EntryLines
{
public:
    explicit EntryLines(const DeclaredTask &task);

    /// The line of a part of the declaration.
    /// @param part "Exec", "OrganizationName" or "ApplicationName", which may be in other groups
    /// than the task's; anything else gives the header of the task's group. When the id comes from
    /// the file's name, there is no line.
    [[nodiscard]] FileLine of(const QString &part) const;

private:
    [[nodiscard]] int lineOfExec() const;
    [[nodiscard]] int lineOfIdPart(const QString &key) const;

    const DeclaredTask m_task;
    const KeyFileLines m_lines;
};

} // namespace Cli

#pragma once

#include "cli/declared_tasks.h"
#include "common/key_file_lines.h"

#include <QString>

namespace Cli {

/// A place in a file.
struct FileLine
{
    QString file;
    /// From 1 on; 0: the file as a whole.
    int line = 0;
};

/// Where in its desktop entry a task's declaration says what it says.
class EntryLines
{
public:
    explicit EntryLines(const DeclaredTask &task);

    /// The line that a part of the declaration is on.
    /// @param part "Exec", "OrganizationName" and "ApplicationName", which may be in other groups
    /// than the task's; everything else means the header of the task's group. An id that the entry
    /// does not give comes from the file's name, and then there is no line.
    [[nodiscard]] FileLine of(const QString &part) const;

private:
    [[nodiscard]] int lineOfExec() const;
    [[nodiscard]] int lineOfIdPart(const QString &key) const;

    const DeclaredTask m_task;
    const KeyFileLines m_lines;
};

} // namespace Cli

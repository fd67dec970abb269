#pragma once

#include <QString>

struct Places;

namespace Core {

class Findings;

/// The settings of one task type, from task-types/<type>.conf in the data directories. A missing
/// or unreadable file is no error: every setting then has its default.
class TaskTypeConfig
{
public:
    /// Reads the file, if the type may have one.
    /// @param taskType name of the type; slashes in it lead to directories.
    TaskTypeConfig(const QString &taskType, const Places &places, Findings &findings);
    virtual ~TaskTypeConfig() = default;
    TaskTypeConfig(const TaskTypeConfig &) = delete;
    TaskTypeConfig &operator=(const TaskTypeConfig &) = delete;

    /// Whether a type of this name can have a file. Clients name types, so nothing that leads out
    /// of the directory, names a file in two ways or is no name at all does: no part between
    /// slashes is ".", ".." or empty, there is no control character, and it has at most 255 bytes
    /// in UTF-8. Any other type is one that nobody has configured.
    [[nodiscard]] static bool mayHaveFile(const QString &taskType);

    /// The file that was found; empty when nobody has configured the type.
    [[nodiscard]] const QString &file() const { return m_file; }
    /// Whether tasks of the type run inside the user's session; true unless the file says no.
    [[nodiscard]] bool worksInSession() const { return m_worksInSession; }

private:
    QString m_file;
    bool m_worksInSession = true;
};

} // namespace Core

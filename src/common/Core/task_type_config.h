#pragma once

#include <QString>

struct Places;

namespace Core {

class Findings;

/// The settings of one task type, from task-types/<type>.conf in the data directories. When the
/// file is missing or cannot be read, every setting has its default. Event-loop thread only.
class TaskTypeConfig
{
public:
    /// Reads the file, if mayHaveFile() allows it.
    /// @param taskType name of the type; a slash in it separates directories.
    TaskTypeConfig(const QString &taskType, const Places &places, Findings &findings);
    virtual ~TaskTypeConfig() = default;
    TaskTypeConfig(const TaskTypeConfig &) = delete;
    TaskTypeConfig &operator=(const TaskTypeConfig &) = delete;

    /// Whether a type of this name can have a file. Clients choose the name, so names are refused
    /// that lead out of the directory or name a file in a second way: no part between slashes may
    /// be ".", ".." or empty, there may be no control character, and the name has at most 255 bytes
    /// in UTF-8. A refused name counts as a type without a file.
    [[nodiscard]] static bool mayHaveFile(const QString &taskType);

    /// Path of the file; empty when there is none.
    [[nodiscard]] const QString &file() const { return m_file; }
    /// Whether tasks of the type run inside the user's session; true when the file does not say.
    [[nodiscard]] bool worksInSession() const { return m_worksInSession; }

private:
    QString m_file;
    bool m_worksInSession = true;
};

} // namespace Core

#pragma once

#include <QString>

#include <memory>

class QSettings;

namespace Core {

/// The settings of one task type, from task-types/<type>.conf in the data directories. A missing
/// or unreadable file is no error: every setting then has its default.
class TaskTypeConfig
{
public:
    /// @param taskType name of the type, put into the file's name as it stands.
    explicit TaskTypeConfig(const QString &taskType);
    virtual ~TaskTypeConfig();
    TaskTypeConfig(const TaskTypeConfig &) = delete;
    TaskTypeConfig &operator=(const TaskTypeConfig &) = delete;

    /// Whether tasks of the type run inside the user's session; true unless the file says no.
    [[nodiscard]] bool worksInSession() const;

private:
    std::unique_ptr<QSettings> m_settings;
};

} // namespace Core

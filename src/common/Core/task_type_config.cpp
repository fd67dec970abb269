#include "common/Core/task_type_config.h"

#include <QSettings>
#include <QStandardPaths>

namespace Core {

namespace {

// Only what says yes is yes: a word that is no boolean must not open the user's session to a type.
bool saysYes(const QVariant &value)
{
    const QString text = value.toString().trimmed().toLower();
    return text == QLatin1String("true") || text == QLatin1String("yes")
        || text == QLatin1String("on") || text.toLongLong() != 0;
}

} // namespace

TaskTypeConfig::TaskTypeConfig(const QString &taskType)
    : m_settings(std::make_unique<QSettings>(
        QStandardPaths::locate(QStandardPaths::AppDataLocation,
                               QStringLiteral("task-types/%1.conf").arg(taskType)),
        QSettings::IniFormat))
{
    m_settings->beginGroup(QStringLiteral("TaskType"));
}

TaskTypeConfig::~TaskTypeConfig() = default;

bool TaskTypeConfig::worksInSession() const
{
    return saysYes(m_settings->value(QStringLiteral("WorksInSession"), true));
}

} // namespace Core

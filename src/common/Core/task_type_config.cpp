#include "common/Core/task_type_config.h"

#include <QFileInfo>
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

// The type comes from a client and may lead anywhere: nobody makes this process read what no
// configuration file is as large as.
QString locate(const QString &relativePath)
{
    constexpr qint64 largestFile = 1 << 20;
    const QString path = QStandardPaths::locate(QStandardPaths::AppDataLocation, relativePath);
    return QFileInfo(path).size() <= largestFile ? path : QString();
}

} // namespace

TaskTypeConfig::TaskTypeConfig(const QString &taskType)
    : m_settings(std::make_unique<QSettings>(
        locate(QStringLiteral("task-types/%1.conf").arg(taskType)), QSettings::IniFormat))
{
    m_settings->beginGroup(QStringLiteral("TaskType"));
}

TaskTypeConfig::~TaskTypeConfig() = default;

bool TaskTypeConfig::worksInSession() const
{
    return saysYes(m_settings->value(QStringLiteral("WorksInSession"), true));
}

} // namespace Core

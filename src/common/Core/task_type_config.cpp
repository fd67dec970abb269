#include "common/Core/task_type_config.h"

#include "common/ini_file.h"
#include "files/foreign_file.h"

#include <QStandardPaths>
#include <QVector>

#include <algorithm>

namespace Core {

namespace {

// Only what says yes is yes: a word that is no boolean must not open the user's session to a type.
bool saysYes(const IniFile::Value &value)
{
    const QString text = value.text.trimmed().toLower();
    return text == QLatin1String("true") || text == QLatin1String("yes")
        || text == QLatin1String("on") || text.toLongLong() != 0;
}

bool leadsAstray(const QStringRef &part)
{
    return part.isEmpty() || part == QLatin1String(".") || part == QLatin1String("..");
}

} // namespace

bool TaskTypeConfig::mayHaveFile(const QString &taskType)
{
    constexpr int longestType = 255;
    if (taskType.toUtf8().size() > longestType)
        return false;
    const auto isControl = [](QChar c) { return c.category() == QChar::Other_Control; };
    const QVector<QStringRef> parts = taskType.splitRef(QLatin1Char('/'));
    return std::none_of(taskType.begin(), taskType.end(), isControl)
        && std::none_of(parts.begin(), parts.end(), leadsAstray);
}

TaskTypeConfig::TaskTypeConfig(const QString &taskType)
{
    if (!mayHaveFile(taskType))
        return;
    const QString path = QStandardPaths::locate(QStandardPaths::AppDataLocation,
                                                QStringLiteral("task-types/%1.conf").arg(taskType));
    const auto value = IniFile(readForeignFile(path).text)
                           .value(QStringLiteral("TaskType"), QStringLiteral("WorksInSession"));
    if (value)
        m_worksInSession = saysYes(*value);
}

} // namespace Core

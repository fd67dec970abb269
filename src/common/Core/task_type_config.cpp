#include "common/Core/task_type_config.h"

#include "common/Core/rules.h"
#include "common/ini_file.h"
#include "common/places.h"
#include "files/foreign_file.h"

#include <QVector>

#include <algorithm>

namespace Core {

namespace {

// An unknown word counts as false, because a typing mistake must not give a type access to the
// user's session.
bool isTrue(const IniFile::Value &value)
{
    const QString text = value.text.trimmed().toLower();
    return text == QLatin1String("true") || text == QLatin1String("yes")
        || text == QLatin1String("on") || text.toLongLong() != 0;
}

bool isBoolean(const IniFile::Value &value)
{
    static const QStringList words{
        QStringLiteral("true"),  QStringLiteral("yes"), QStringLiteral("on"),  QStringLiteral("1"),
        QStringLiteral("false"), QStringLiteral("no"),  QStringLiteral("off"), QStringLiteral("0")};
    return !value.isList && words.contains(value.text.trimmed().toLower());
}

bool isUnsafePart(const QString &part)
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
    const QStringList parts = taskType.split(QLatin1Char('/'));
    return std::none_of(taskType.begin(), taskType.end(), isControl)
        && std::none_of(parts.begin(), parts.end(), isUnsafePart);
}

TaskTypeConfig::TaskTypeConfig(const QString &taskType, const Places &places, Findings &findings)
{
    if (!mayHaveFile(taskType))
        return;
    m_file = places.firstFile(places.taskTypeFolders, taskType + QStringLiteral(".conf"));
    if (m_file.isEmpty())
        return;
    const ForeignFile content = readForeignFile(places.real(m_file));
    if (content.state != ForeignFile::Read)
        ORVANE_REMARK(findings, findingOf(Rules::taskTypeUnreadable, {m_file}))
            << "Failed to read" << m_file << content.reason;
    const QString group = QStringLiteral("TaskType");
    const QString key = QStringLiteral("WorksInSession");
    const auto value = IniFile(content.text).value(group, key);
    if (!value)
        return;
    m_worksInSession = isTrue(*value);
    if (!isBoolean(*value))
        ORVANE_REMARK(findings,
                      findingOf(Rules::taskTypeBoolean, {m_file, group, key, value->line}))
            << "Not a boolean:" << value->text;
}

} // namespace Core

#include "plan/unit_settings.h"

namespace Core {

namespace {

Origin hint(const char *name) { return {Origin::Hint, QString::fromLatin1(name), {}, 0}; }

Origin declared(const char *key) { return {Origin::Declaration, QString::fromLatin1(key), {}, 0}; }

} // namespace

QVector<PlannedWord> environmentOf(const ApplicationTaskId &id, const StartRequest &request)
{
    QVector<PlannedWord> entries;
    for (const QString &entry : request.environment)
        entries.append({entry, hint("Environment")});
    const QString application = id.applicationId().toString();
    entries.append({QLatin1String("HALCYN_APP_ID=") + application, declared("ApplicationName")});
    entries.append(
        {QLatin1String("HALCYN_PACKAGE_NAME=") + application, declared("ApplicationName")});
    entries.append(
        {QLatin1String("HALCYN_TASK_ID=") + id.taskName().toString(), declared("X-Task")});
    entries.append({QStringLiteral("QT_QPA_PLATFORM=minimal"), Origin()});
    return entries;
}

QMap<QString, PlannedSetting> settingsOf(const StartRequest &request,
                                         const QVector<PlannedWord> &environment)
{
    QMap<QString, PlannedSetting> settings;
    settings.insert(QStringLiteral("WantedBy"), {QStringLiteral("multi-user.target"), Origin()});
    const UnitValues &more = request.unitSettings;
    for (auto it = more.cbegin(); it != more.cend(); ++it)
        settings.insert(it.key(), {it.value(), hint("CGroups")});
    if (request.weight != 0)
        settings.insert(QStringLiteral("OOMScoreAdjust"), {request.weight, hint("Weight")});
    if (request.cpuLimit != 0)
        settings.insert(QStringLiteral("LimitCPU"), {request.cpuLimit, hint("CPULimit")});
    settings.insert(QStringLiteral("User"), {request.user, hint("User")});
    QStringList entries;
    for (const PlannedWord &entry : environment)
        entries.append(entry.text);
    settings.insert(QStringLiteral("Environment"), {entries, {Origin::Words, {}, {}, 0}});
    return settings;
}

} // namespace Core

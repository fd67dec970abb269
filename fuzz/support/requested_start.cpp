#include "fuzz/support/requested_start.h"

#include <QHash>

namespace {

void addUnitSetting(Core::UnitValues &settings, const QString &key, const QString &value)
{
    const auto known = settings.find(key);
    if (known == settings.end()) {
        settings.insert(key, value);
        return;
    }
    if (auto *words = std::get_if<QStringList>(&*known))
        words->append(value);
    else
        *known = QStringList{std::get<QString>(*known), value};
}

} // namespace

RequestedStart::RequestedStart(Input input)
{
    QString organization = QStringLiteral("com.example");
    QString application = QStringLiteral("Notes");
    QString name = QStringLiteral("sync");
    task.exec = QStringLiteral("/usr/bin/worker -v");
    request.user = QStringLiteral("appuser");
    QString busName;
    const QHash<QString, QString *> texts{{QStringLiteral("Organization"), &organization},
                                          {QStringLiteral("Application"), &application},
                                          {QStringLiteral("Task"), &name},
                                          {QStringLiteral("Exec"), &task.exec},
                                          {QStringLiteral("User"), &request.user},
                                          {QStringLiteral("DBusService"), &busName}};
    const QHash<QString, QStringList *> lists{
        {QStringLiteral("Param"), &request.params},
        {QStringLiteral("Permission"), &request.permissions},
        {QStringLiteral("Environment"), &request.environment}};
    const QHash<QString, int *> numbers{{QStringLiteral("Weight"), &request.weight},
                                        {QStringLiteral("CPULimit"), &request.cpuLimit}};
    while (!input.isAtEnd()) {
        const QString field = input.text();
        const QString key = field.section(QLatin1Char('='), 0, 0);
        const QString value = field.section(QLatin1Char('='), 1);
        if (texts.contains(key))
            *texts.value(key) = value;
        else if (lists.contains(key))
            lists.value(key)->append(value);
        else if (numbers.contains(key))
            *numbers.value(key) = value.toInt();
        else if (key == QLatin1String("Homeless"))
            request.homeless = true;
        else
            addUnitSetting(request.unitSettings, key, value);
    }
    if (!busName.isNull())
        request.busName = busName;
    task.taskId = Core::ApplicationTaskId(Core::ApplicationId(organization, application), name);
}

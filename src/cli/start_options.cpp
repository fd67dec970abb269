#include "cli/start_options.h"

#include <QMap>
#include <QVariantMap>

#include <optional>

namespace Cli {

namespace {

// Adds a setting KEY=VALUE; false when the text does not have this form.
bool addSetting(const QString &setting, QVariantMap &settings)
{
    const auto equals = setting.indexOf(QLatin1Char('='));
    if (equals <= 0)
        return false;
    settings.insert(setting.left(equals), setting.mid(equals + 1));
    return true;
}

Client::StartRequest requestOf(const Request &request)
{
    Client::StartRequest start;
    const auto valueOf = [&request](const QString &option) {
        return request.has(option) ? std::optional(request.value(option)) : std::nullopt;
    };
    start.user = valueOf(QStringLiteral("user"));
    start.busName = valueOf(QStringLiteral("own"));
    start.atBoot = request.has(QStringLiteral("at-boot"));
    start.homeless = request.has(QStringLiteral("homeless"));
    start.permissions = request.values(QStringLiteral("permission"));
    start.params = request.values(QStringLiteral("param"));
    start.environment = request.values(QStringLiteral("env"));
    start.weight = request.value(QStringLiteral("weight")).toInt();
    start.cpuLimit = request.value(QStringLiteral("cpu-limit")).toInt();
    return start;
}

// Checks and copies the options whose values have a form of their own. Returns what is wrong; empty
// when nothing is.
QString readSettings(const Request &request, AskedStart &asked)
{
    for (const QString &setting : request.values(QStringLiteral("set"))) {
        if (!addSetting(setting, asked.request.unitSettings))
            return QStringLiteral("--set %1 is not KEY=VALUE").arg(setting);
    }
    for (const QString &entry : qAsConst(asked.request.environment)) {
        if (entry.indexOf(QLatin1Char('=')) <= 0)
            return QStringLiteral("--env %1 is not NAME=VALUE").arg(entry);
    }
    const bool needsUser = asked.task.taskId.isValid() && !worksInSession(asked.task.type);
    return needsUser && !asked.request.user ? QStringLiteral("--user is missing") : QString();
}

Option option(const char *name, const char *value, Kind kind, const char *help,
              bool isRepeatable = false)
{
    return {QString::fromLatin1(name),
            QString::fromLatin1(value),
            kind,
            QString::fromLatin1(help),
            false,
            isRepeatable};
}

} // namespace

QVector<Option> startOptions()
{
    return {
        option("user", "USER", Kind::User,
               "the user that the task runs as; required for a task of the system"),
        option("at-boot", "", Kind::Text, "also start it at each boot from now on"),
        option("own", "NAME", Kind::Text, "a name on the system bus that it may own"),
        option("permission", "NAME", Kind::Text,
               "a permission of the sandbox; those in the entry are not granted by themselves",
               true),
        option("param", "WORD", Kind::Text,
               "a further argument of its program; if it begins with a dash, write --param=-x",
               true),
        option("homeless", "", Kind::Text, "give it no directories in the user's home"),
        option("weight", "N", Kind::Number,
               "-1000 to 1000: the higher, the sooner it is killed when memory runs out"),
        option("cpu-limit", "SECONDS", Kind::Number, "processor time that it may use"),
        option("set", "KEY=VALUE", Kind::Text, "a setting of its unit's service section", true),
        option("env", "NAME=VALUE", Kind::Text, "a variable of its environment", true),
    };
}

AskedStart askedStart(const Request &request, const QString &command)
{
    AskedStart asked;
    asked.taskId = request.arguments.value(0);
    asked.task = declaredTask(asked.taskId);
    asked.request = requestOf(request);
    const QString wrong = readSettings(request, asked);
    if (!wrong.isEmpty()) {
        asked.status = WrongUsage;
        asked.complaint = QStringLiteral("%1; try: orvanectl %2 --help").arg(wrong, command);
    } else if (!asked.task.taskId.isValid()) {
        asked.status = No;
        asked.complaint = notDeclared(asked.taskId);
    }
    return asked;
}

QString optionOfHint(const QString &hint)
{
    static const QMap<QString, QString> options{
        {QStringLiteral("User"), QStringLiteral("--user")},
        {QStringLiteral("DBusService"), QStringLiteral("--own")},
        {QStringLiteral("Permissions"), QStringLiteral("--permission")},
        {QStringLiteral("Params"), QStringLiteral("--param")},
        {QStringLiteral("Weight"), QStringLiteral("--weight")},
        {QStringLiteral("CPULimit"), QStringLiteral("--cpu-limit")},
        {QStringLiteral("CGroups"), QStringLiteral("--set")},
        {QStringLiteral("Environment"), QStringLiteral("--env")},
    };
    return options.value(hint);
}

} // namespace Cli

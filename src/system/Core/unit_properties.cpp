#include "system/Core/task_manager_p.h"

#include "common/DBus/types.h"
#include "service/Core/firejail.h"
#include "system/Core/unit_checks.h"

#include <QByteArrayList>
#include <QDBusArgument>
#include <QDebug>

namespace Core {

namespace {

// An array of variants arrives from the bus still marshalled; one of strings does not.
QStringList stringListOf(const QVariant &value)
{
    if (value.userType() != qMetaTypeId<QDBusArgument>())
        return value.toStringList();
    const auto argument = value.value<QDBusArgument>();
    if (argument.currentSignature() != QLatin1String("av"))
        return {};
    return QVariant(qdbus_cast<QVariantList>(argument)).toStringList();
}

QVariantMap controlGroupsOf(const QVariantMap &taskSettings)
{
    return DBus::toVariantMap(taskSettings.value(QStringLiteral("CGroups")));
}

QStringList permissionsOf(const QVariantMap &taskSettings)
{
    return stringListOf(taskSettings.value(QStringLiteral("Permissions")));
}

QStringList parametersOf(const QVariantMap &taskSettings)
{
    return stringListOf(taskSettings.value(QStringLiteral("Params")));
}

void insertAll(QVariantMap &properties, const QVariantMap &more)
{
    for (auto it = more.cbegin(); it != more.cend(); ++it)
        properties.insert(it.key(), it.value());
}

void insertUnlessZero(QVariantMap &properties, const QString &key, const QVariant &setting)
{
    if (const int number = setting.toInt())
        properties.insert(key, number);
}

Error insertUser(QVariantMap &properties, const QVariantMap &taskSettings)
{
    const QString user = taskSettings.value(QStringLiteral("User")).toString();
    if (user.isEmpty())
        return {Error::InvalidArgs, QStringLiteral("Missing required User key")};
    if (user == QLatin1String("root"))
        return {Error::InvalidArgs, QStringLiteral("User cannot be root")};
    properties.insert(QStringLiteral("User"), user);
    return {};
}

QStringList environmentOf(const ApplicationTaskId &id, const QVariantMap &startParameters)
{
    const QString application = id.applicationId().toString();
    return stringListOf(startParameters.value(QStringLiteral("Environment")))
        << QLatin1String("HALCYN_APP_ID=") + application
        << QLatin1String("HALCYN_PACKAGE_NAME=") + application
        << QLatin1String("HALCYN_TASK_ID=") + id.taskName()
        << QStringLiteral("QT_QPA_PLATFORM=minimal");
}

void describeSandbox(Firejail &sandbox, const ApplicationId &application, bool homeless)
{
    sandbox.setOrganizationName(application.organisation().toString());
    sandbox.setApplicationName(application.name().toString());
    sandbox.setDataName(application.toString());
    sandbox.setNoUserBus(true);
    sandbox.setHomeless(homeless);
}

// No quoting rules: every blank separates, so that two in a row hold an empty argument.
QByteArrayList argumentsOf(const QString &exec, const QVariantMap &taskSettings)
{
    QByteArrayList arguments = exec.toUtf8().split(' ');
    const QStringList parameters = parametersOf(taskSettings);
    for (const QString &parameter : parameters)
        arguments << parameter.toUtf8();
    return arguments;
}

// What a caller asks for beside the environment. That the user is missing, or root, comes first.
Error checkHints(const QVariantMap &taskSettings)
{
    if (const Error error = checkUser(taskSettings.value(QStringLiteral("User")).toString()))
        return error;
    if (const Error error = checkProperties(controlGroupsOf(taskSettings)))
        return error;
    if (const Error error = checkPermissions(permissionsOf(taskSettings)))
        return error;
    if (const Error error = checkParameters(parametersOf(taskSettings)))
        return error;
    const QString busName = QStringLiteral("DBusService");
    return taskSettings.contains(busName) ? checkBusName(taskSettings.value(busName).toString())
                                          : Error();
}

QStringList grantedPermissions(const QVariantMap &taskSettings, bool homeless)
{
    return permissionsOf(taskSettings)
        << (homeless ? QStringLiteral("HomelessTask") : QStringLiteral("BaseTask"));
}

Error insertExecStart(QVariantMap &properties, const ApplicationRegistry::TaskInfo &task,
                      const QVariantMap &taskSettings)
{
    const bool homeless = taskSettings.value(QStringLiteral("Homeless")).toBool();
    Firejail sandbox;
    describeSandbox(sandbox, task.taskId.applicationId(), homeless);
    const auto [argv, error] = sandbox.computeArgv(argumentsOf(task.exec, taskSettings),
                                                   grantedPermissions(taskSettings, homeless));
    if (error) {
        qWarning() << "Failed to build firejail argv:" << error.message();
        return error;
    }
    // A zero byte ends the line, as it would for everybody who reads it as text.
    const QByteArray bytes = argv.join(' ');
    const QString line = QString::fromUtf8(bytes.constData());
    const QString key = QStringLiteral("ExecStart");
    if (const Error problem = checkCommandLine(key, line))
        return problem;
    properties.insert(key, line);
    return {};
}

} // namespace

Error TaskManagerPrivate::buildUnitProperties(QVariantMap &properties,
                                              const ApplicationRegistry::TaskInfo &task,
                                              const QVariantMap &startParameters,
                                              const QVariantMap &taskSettings)
{
    properties.insert(QStringLiteral("WantedBy"), QStringLiteral("multi-user.target"));
    insertAll(properties, controlGroupsOf(taskSettings));
    insertUnlessZero(properties, QStringLiteral("OOMScoreAdjust"),
                     taskSettings.value(QStringLiteral("Weight")));
    insertUnlessZero(properties, QStringLiteral("LimitCPU"),
                     taskSettings.value(QStringLiteral("CPULimit")));
    if (const Error error = insertUser(properties, taskSettings))
        return error;
    properties.insert(QStringLiteral("Environment"), environmentOf(task.taskId, startParameters));
    if (const Error error = checkDeclaration(task))
        return error;
    if (const Error error = checkHints(taskSettings))
        return error;
    if (const Error error = checkProperties(properties))
        return error;
    return insertExecStart(properties, task, taskSettings);
}

} // namespace Core

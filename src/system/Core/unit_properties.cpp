#include "system/Core/task_manager_p.h"

#include "common/DBus/types.h"
#include "service/Core/firejail.h"

#include <QByteArrayList>
#include <QDBusArgument>
#include <QDebug>

#include <algorithm>

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

void insertControlGroups(QVariantMap &properties, const QVariantMap &taskSettings)
{
    const QVariantMap groups = DBus::toVariantMap(taskSettings.value(QStringLiteral("CGroups")));
    for (auto it = groups.cbegin(); it != groups.cend(); ++it)
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

bool isControlCharacter(QChar character)
{
    switch (character.category()) {
    case QChar::Other_Control:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default:
        return false;
    }
}

bool holdsControlCharacter(const QString &text)
{
    return std::any_of(text.cbegin(), text.cend(), isControlCharacter);
}

bool endsWithBackslash(QString text)
{
    while (text.endsWith(QLatin1Char(' ')))
        text.chop(1);
    return text.endsWith(QLatin1Char('\\'));
}

// systemd runs the unit as root. What a package declares must stay inside the one line, and the one
// command, that it is meant for: no line break, no backslash that would join the line below, no
// lone semicolon behind which systemd starts a command outside the sandbox.
Error checkStaysInsideItsLine(const ApplicationRegistry::TaskInfo &task)
{
    if (holdsControlCharacter(task.taskId.toString()))
        return {Error::InvalidArgs, QStringLiteral("Task id must not hold control characters")};
    if (holdsControlCharacter(task.exec))
        return {Error::InvalidArgs, QStringLiteral("Exec must not hold control characters")};
    if (endsWithBackslash(task.exec))
        return {Error::InvalidArgs, QStringLiteral("Exec must not end with a backslash")};
    if (task.exec.split(QLatin1Char(' ')).contains(QStringLiteral(";")))
        return {Error::InvalidArgs, QStringLiteral("Exec must not hold a separate semicolon")};
    return {};
}

// No quoting rules: every blank separates, so that two in a row hold an empty argument.
QByteArrayList argumentsOf(const QString &exec, const QVariantMap &taskSettings)
{
    QByteArrayList arguments = exec.toUtf8().split(' ');
    const QStringList params = stringListOf(taskSettings.value(QStringLiteral("Params")));
    for (const QString &param : params)
        arguments << param.toUtf8();
    return arguments;
}

QStringList permissionsOf(const QVariantMap &taskSettings, bool homeless)
{
    return stringListOf(taskSettings.value(QStringLiteral("Permissions")))
        << (homeless ? QStringLiteral("HomelessTask") : QStringLiteral("BaseTask"));
}

Error insertExecStart(QVariantMap &properties, const ApplicationRegistry::TaskInfo &task,
                      const QVariantMap &taskSettings)
{
    const bool homeless = taskSettings.value(QStringLiteral("Homeless")).toBool();
    Firejail sandbox;
    describeSandbox(sandbox, task.taskId.applicationId(), homeless);
    const auto [argv, error] = sandbox.computeArgv(argumentsOf(task.exec, taskSettings),
                                                   permissionsOf(taskSettings, homeless));
    if (error) {
        qWarning() << "Failed to build firejail argv:" << error.message();
        return error;
    }
    // A zero byte ends the line, as it would for everybody who reads it as text.
    const QByteArray line = argv.join(' ');
    properties.insert(QStringLiteral("ExecStart"), QString::fromUtf8(line.constData()));
    return {};
}

} // namespace

Error TaskManagerPrivate::buildUnitProperties(QVariantMap &properties,
                                              const ApplicationRegistry::TaskInfo &task,
                                              const QVariantMap &startParameters,
                                              const QVariantMap &taskSettings)
{
    properties.insert(QStringLiteral("WantedBy"), QStringLiteral("multi-user.target"));
    insertControlGroups(properties, taskSettings);
    insertUnlessZero(properties, QStringLiteral("OOMScoreAdjust"),
                     taskSettings.value(QStringLiteral("Weight")));
    insertUnlessZero(properties, QStringLiteral("LimitCPU"),
                     taskSettings.value(QStringLiteral("CPULimit")));
    if (const Error error = insertUser(properties, taskSettings))
        return error;
    properties.insert(QStringLiteral("Environment"), environmentOf(task.taskId, startParameters));
    if (const Error error = checkStaysInsideItsLine(task))
        return error;
    return insertExecStart(properties, task, taskSettings);
}

} // namespace Core

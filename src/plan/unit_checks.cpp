#include "plan/unit_checks.h"

#include "plan/line_checks.h"
#include "plan/reserved_names.h"

#include <algorithm>

namespace Core {

namespace {

Error invalid(const QString &message) { return {Error::InvalidArgs, message}; }

bool isPlainKey(const QString &key)
{
    return !key.isEmpty() && std::all_of(key.cbegin(), key.cend(), [](QChar character) {
        return character.unicode() < 0x80 && character.isLetterOrNumber();
    });
}

// A list is also checked word by word, because a backslash would join two words.
Error checkValue(const QString &key, const UnitValue &value)
{
    if (const auto *words = std::get_if<QStringList>(&value)) {
        for (const QString &word : *words) {
            if (const Error error = checkLine(key, word))
                return error;
        }
    }
    return checkLine(key, textOf(value));
}

} // namespace

// The id is used in directory names, bus names and the command line. It is parsed again from its
// text, because it may have been built from unchecked parts.
Error checkApplicationId(const ApplicationId &id)
{
    if (!ApplicationId(id.toString()).isValid())
        return invalid(QStringLiteral("Application id must be an organisation and a name"));
    if (hasEmptyComponent(id.toString()))
        return invalid(QStringLiteral("Application id must not have an empty component"));
    if (isReservedName(id.toString()))
        return invalid(QStringLiteral("Application id must not be a name of the system"));
    return {};
}

// The program's file name also becomes an option of the sandbox, before the "--". Characters that
// systemd unquotes or expands could move the end of the options, and a list or a pattern would name
// other programs.
Error checkProgram(const QString &exec)
{
    const QString program = exec.left(exec.indexOf(QLatin1Char(' ')));
    const QLatin1String special("\"'\\$%,*?[]{}");
    const bool isPlain = std::none_of(program.cbegin(), program.cend(), [special](QChar character) {
        return special.contains(character);
    });
    if (!isPlain)
        return invalid(
            QStringLiteral("Exec must not name a program with any of \" ' \\ $ % , * ? [ ] { }"));
    return {};
}

Error checkDeclaration(const ApplicationInfo::TaskInfo &task)
{
    if (holdsControlCharacter(task.taskId.toString()))
        return invalid(QStringLiteral("Task id must not hold control characters"));
    if (const Error error = checkApplicationId(task.taskId.applicationId()))
        return error;
    if (const Error error = checkCommandLine(QStringLiteral("Exec"), task.exec))
        return error;
    return checkProgram(task.exec);
}

Error checkRequest(const StartRequest &request)
{
    if (const Error error = checkUser(request.user))
        return error;
    if (const Error error = checkSettings(request.unitSettings))
        return error;
    if (const Error error = checkPermissions(request.permissions))
        return error;
    if (const Error error = checkParameters(request.params))
        return error;
    return request.busName ? checkBusName(*request.busName) : Error();
}

Error checkUserIsGiven(const QString &user)
{
    if (user.isEmpty())
        return invalid(QStringLiteral("Missing required User key"));
    if (user == QLatin1String("root"))
        return invalid(QStringLiteral("User cannot be root"));
    return {};
}

Error checkUser(const QString &user)
{
    if (!isPlainUser(user))
        return invalid(QStringLiteral("User must be a plain user name"));
    return {};
}

Error checkPermissions(const QStringList &permissions)
{
    for (const QString &permission : permissions) {
        if (permission.contains(QLatin1Char('/')))
            return invalid(QStringLiteral("Permissions must not hold a slash"));
        if (const Error error = checkLine(QStringLiteral("Permissions"), permission))
            return error;
    }
    return {};
}

Error checkParameters(const QStringList &parameters)
{
    const QString what = QStringLiteral("Params");
    for (const QString &parameter : parameters) {
        if (endsWithBackslash(parameter))
            return invalid(what + QLatin1String(" must not end with a backslash"));
    }
    // A zero byte ends the command line, so the rest is not checked.
    const QString line = parameters.join(QLatin1Char(' '));
    return checkCommandLine(what, line.left(line.indexOf(QChar(0))));
}

Error checkBusName(const QString &busName)
{
    if (!isWellKnownBusName(busName))
        return invalid(QStringLiteral("DBusService must be a well-known bus name"));
    if (isReservedName(busName))
        return invalid(QStringLiteral("DBusService must not be a name of the system"));
    return {};
}

Error checkSettings(const UnitValues &settings)
{
    for (auto it = settings.cbegin(); it != settings.cend(); ++it) {
        if (!isPlainKey(it.key()))
            return invalid(QStringLiteral("CGroups keys must be ASCII letters and digits"));
        if (const Error error = checkValue(it.key(), it.value()))
            return error;
    }
    return {};
}

Error checkCommandLine(const QString &what, const QString &line)
{
    if (const Error error = checkLine(what, line))
        return error;
    if (holdsLoneSemicolon(line))
        return invalid(what + QLatin1String(" must not hold a separate semicolon"));
    return {};
}

} // namespace Core

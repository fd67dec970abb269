#include "cli/lint/rules.h"

#include <QString>

namespace Cli {

namespace {

using namespace Core::Rules;
using namespace LintRules;

QVector<LintRule> entryRules()
{
    return {
        {&entryInvalid, "Write [Desktop Entry] with Type=Application and a Name."},
        {&entryHidden, "Remove the file, or only the line if the application is installed."},
        {&entryTooLarge, "Remove what does not belong in a desktop entry."},
        {&notUtf8, "Save the file as UTF-8."},
        {&entryId, "Write OrganizationName and ApplicationName into [X-Application]."},
        {&entryIdTwice, "Remove one of the entries, or give it an ApplicationName of its own."},
        {&entryShadowed, "Remove one of the entries, unless the earlier is meant to replace it."},
        {&fileNameShadowed, "Give the file a name that no other package uses."},
        {&idParsesOtherwise,
         "Write an OrganizationName of lower-case letters, digits, dots, _ and -, and an "
         "ApplicationName that begins with a letter and has no dot."},
        {&intentsSize, "Declare fewer intents: 64 Ki characters are read."},
        {&mimeTypesSize, "Declare up to 1024 MIME types of up to 1024 characters each."},
        {&entrySwitch,
         "Write Sandboxing=Disabled, X-Nemo-Single-Instance=no, X-Halcyn-Single-Cover=yes and "
         "Hidden=true and X-Halcyn-Support-Mime-Parents=true exactly like this, or leave the key "
         "out."},
        {&unknownKey, "Correct the key's name, or begin it with X- if another program reads it."},
        {&keyTwice, "Remove all lines with this key but the last."},
        {&unknownGroup,
         "Write [X-Task NAME], with one blank and a name of letters and digits, or "
         "[X-Application]."},
    };
}

QVector<LintRule> taskRules()
{
    return {
        {&taskName, "Name the task with up to 64 ASCII letters and digits, a letter first."},
        {&taskTwice, "Give one of the groups another task's name, or remove it."},
        {&groupTwice, "Join both groups, or give one another task's name."},
        {&taskSize, "Keep a task's command line and lists below 16 KiB together."},
        {&tasksSize, "Declare fewer tasks: 256 KiB of an application are read."},
        {&taskListSize, "Remove applications, or spread their tasks over several types."},
        {&idTooLong, "Choose shorter names of organisation, application and task."},
        {&declarationRefused, "Correct what the message names."},
        {&typeMissing, "Write Type= with the name of a task type into the task's group."},
        {&typeObjectPath, "Use a type of ASCII letters, digits and _ ."},
        {&typeUnserved,
         "Correct the type, or install task-types/TYPE.conf with WorksInSession in [TaskType]."},
    };
}

QVector<LintRule> programRules()
{
    return {
        {&execMissing, "Write Exec= with the program's absolute path into the task's group."},
        {&execRelative, "Write the program's absolute path."},
        {&execNotThere, "Install the program, or correct its path."},
        {&execDirectory, "Write the full path of the program."},
        {&execNotExecutable, "Make the program executable."},
        {&execScript, "Give a compiled program; to run a script, give its interpreter."},
        {&execHidden,
         "Install the program elsewhere, such as below /usr/libexec or /opt, unless a permission "
         "shows it."},
        {&execQuotes, "Write arguments without blanks and quotes."},
        {&execFieldCode, "Leave the field code out."},
        {&execExpansion, "Write %% for % and $$ for $, or leave them out."},
        {&refusedBySandbox, "Correct what the message names."},
        {&permissionMissing, "Correct the name, or install NAME.permission."},
        {&unknownPermission, "Correct the name, or install NAME.permission."},
        {&basePermissionMissing,
         "Install the platform's permission files, or the package orvane-standalone."},
        {&permissionName, "Name the permission without / \" ' \\ $ % and blanks."},
        {&permissionUnreadable, "Put a regular file of less than 1 MiB in its place."},
    };
}

QVector<LintRule> packageRules()
{
    return {
        {&manifestUnreadable, "Put a regular file of less than 1 MiB in its place."},
        {&manifestIgnored, "Write one JSON object."},
        {&manifestSyntax, "Correct the JSON syntax at this position."},
        {&manifestBoolean, "Write true or false, without quotes."},
        {&manifestOrphan, "Install the application's entry, or name the folder after its id."},
        {&packageUnreadable, "Put a regular file of less than 1 MiB in its place."},
    };
}

QVector<LintRule> settingRules()
{
    return {
        {&overridesUnreadable, "Put a regular file of less than 1 MiB in its place."},
        {&overrideKey, "Write a full id, or one that ends with .*, or only *."},
        {&overrideVersion, "Write a version of numbers and dots, such as 4.5."},
        {&taskTypeUnreadable, "Put a regular file of less than 1 MiB in its place."},
        {&taskTypeBoolean, "Write WorksInSession=true or WorksInSession=false."},
        {&mimeappsUnreadable, "Put a regular file of less than 1 MiB in its place."},
        {&autostartSize, "Remove settings: 4 MiB are read."},
        {&autostartUnreadable, "Put a regular file of less than 1 MiB in its place."},
        {&autostartId, "Name the group after an application's id."},
        {&autostartUser, "Write a user's number after the |."},
        {&autostartUserMissing, "Correct the user's number, or remove the setting."},
        {&autostartBoolean, "Write autostart=true or autostart=false."},
    };
}

} // namespace

const QVector<LintRule> &lintRules()
{
    static const QVector<LintRule> rules =
        entryRules() + taskRules() + programRules() + packageRules() + settingRules();
    return rules;
}

const LintRule *lintRule(const QString &id)
{
    for (const LintRule &rule : lintRules()) {
        if (id == QLatin1String(rule.rule->id))
            return &rule;
    }
    return nullptr;
}

QString wordOf(Core::Finding::Severity severity)
{
    switch (severity) {
    case Core::Finding::Note:
        return QStringLiteral("note");
    case Core::Finding::Warning:
        return QStringLiteral("warning");
    case Core::Finding::Error:
        break;
    }
    return QStringLiteral("error");
}

} // namespace Cli

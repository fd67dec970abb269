#pragma once

#include "common/Core/rules.h"

#include <QVector>

// What the linter looks for: what the readers and the planner report themselves, and what the
// daemon accepts silently although its author hardly meant it.

namespace Cli {

/// A rule with advice.
struct LintRule
{
    const Core::Rule *rule;
    /// What to write instead, in one sentence.
    const char *instead;
};

/// All rules, in the order in which they are listed.
[[nodiscard]] const QVector<LintRule> &lintRules();
/// The rule with an id; null when there is none.
[[nodiscard]] const LintRule *lintRule(const QString &id);
/// "error", "warning" or "note".
[[nodiscard]] QString wordOf(Core::Finding::Severity severity);

namespace LintRules {

using Core::Finding;
using Core::Rule;

// Files.
constexpr Rule notUtf8{
    "not-utf8", Finding::Warning,
    "A file has bytes that are not UTF-8: the text with them is misread or not read at all."};
constexpr Rule entryTooLarge{"entry-too-large", Finding::Error,
                             "A desktop entry has more than 1 MiB and is not read."};
constexpr Rule permissionUnreadable{"permission-unreadable", Finding::Error,
                                    "A permission file exists but cannot be read."};
constexpr Rule unknownKey{"unknown-key", Finding::Warning, "A key is unknown and is not read."};
constexpr Rule unknownGroup{
    "unknown-group", Finding::Warning,
    "A group's name resembles one that is read, such as that of a task, and the group is ignored."};
constexpr Rule groupTwice{
    "group-twice", Finding::Warning,
    "A task's group occurs twice: both are read as one, and of a key in both, the last counts."};
constexpr Rule keyTwice{"key-twice", Finding::Warning,
                        "A key occurs twice in one group, and the last counts."};
constexpr Rule entrySwitch{"entry-switch", Finding::Warning,
                           "A switch of a desktop entry has no effect, because its value is not "
                           "exactly one of those that are known."};
constexpr Rule manifestBoolean{
    "manifest-boolean", Finding::Warning,
    "keepMediaActiveInBackground is not a JSON boolean and counts as false."};

constexpr Rule manifestOrphan{
    "manifest-orphan", Finding::Warning,
    "A manifest belongs to an application that no desktop entry declares, and is not read."};
constexpr Rule autostartUserMissing{"autostart-user-missing", Finding::Warning,
                                    "An autostart setting is for a user that does not exist, and "
                                    "starts nothing; the daemon removes "
                                    "such files from its own folder."};

// Ids.
constexpr Rule idParsesOtherwise{
    "id-parses-otherwise", Finding::Warning,
    "An application's id, parsed from its text, has other parts or is invalid."};
constexpr Rule idTooLong{
    "id-too-long", Finding::Error,
    "The name of a task's unit would have more than 255 bytes, so that every start fails."};
constexpr Rule declarationRefused{"declaration-refused", Finding::Error,
                                  "What a task declares is refused whenever it is started."};

// Types.
constexpr Rule typeMissing{"type-missing", Finding::Error,
                           "A task has no type, and no client is told of it."};
constexpr Rule typeObjectPath{
    "type-object-path", Finding::Error,
    "A task's type cannot be part of an object path, so that no client can register for it."};
constexpr Rule typeUnserved{
    "type-unserved", Finding::Warning,
    "No file sets who serves a task's type, so it is left to the per-user service."};

// Programs.
constexpr Rule execMissing{"exec-missing", Finding::Error,
                           "Neither a task nor its entry has an Exec, and every start is refused."};
constexpr Rule execRelative{
    "exec-relative", Finding::Error,
    "The path of a task's program is not absolute, and every start is refused."};
constexpr Rule execNotThere{"exec-not-there", Finding::Error,
                            "A task's program does not exist, and every start is refused."};
constexpr Rule execDirectory{"exec-directory", Finding::Error,
                             "A task's program is a directory, and every start is refused."};
constexpr Rule execNotExecutable{"exec-not-executable", Finding::Error,
                                 "A task's program is not executable, and every start is refused."};
constexpr Rule execScript{"exec-script", Finding::Error,
                          "A task's program is not an ELF binary, and every start is refused."};
constexpr Rule execHidden{
    "exec-hidden", Finding::Warning,
    "A task's program or a file among its arguments is in a home, /srv or /usr/share, which the "
    "sandbox hides except for the application's own folders, so that the program does not run or "
    "does not find the file."};
constexpr Rule execQuotes{"exec-quotes", Finding::Warning,
                          "Quotes and backslashes in a task's arguments do not follow the rules of "
                          "desktop entries: systemd interprets them by its own."};
constexpr Rule execFieldCode{
    "exec-field-code", Finding::Warning,
    "A task gets no files: a field code in its arguments is a specifier to systemd, which puts "
    "another text there or refuses the unit."};
constexpr Rule execExpansion{
    "exec-expansion", Finding::Warning,
    "systemd expands %, ${NAME} and arguments that begin with $, and refuses the unit for a % that "
    "it does not know."};

// Permissions.
constexpr Rule permissionMissing{"permission-missing", Finding::Warning,
                                 "A permission that a task declares has no file: a task that is "
                                 "started with it does not get it."};
constexpr Rule basePermissionMissing{
    "base-permission-missing", Finding::Warning,
    "A permission that every task is given has no file: tasks run without its restrictions."};
constexpr Rule permissionName{"permission-name", Finding::Error,
                              "A permission's name is not a plain word in a unit or a path: a "
                              "start with it is refused or leaves it out."};

} // namespace LintRules

} // namespace Cli

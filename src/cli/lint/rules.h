#pragma once

#include "common/Core/rules.h"

#include <QVector>

// What the linter looks for: what the readers and the planner say by themselves, and what the
// daemon takes without a word though its author hardly meant it.

namespace Cli {

/// A rule with what to do about it.
struct LintRule
{
    const Core::Rule *rule;
    /// What to write instead, in one sentence.
    const char *instead;
};

/// Every rule, in the order in which a list shows them.
[[nodiscard]] const QVector<LintRule> &lintRules();
/// The rule of an id; null when there is none.
[[nodiscard]] const LintRule *lintRule(const QString &id);
/// "error", "warning" or "note".
[[nodiscard]] QString wordOf(Core::Finding::Severity severity);

namespace LintRules {

using Core::Finding;
using Core::Rule;

// Files.
constexpr Rule notUtf8{
    "not-utf8", Finding::Warning,
    "A file has bytes that are not UTF-8: what they are in is read as another text or not at all."};
constexpr Rule entryTooLarge{"entry-too-large", Finding::Error,
                             "A desktop entry has more than 1 MiB and is not read."};
constexpr Rule permissionUnreadable{"permission-unreadable", Finding::Error,
                                    "A permission file is there but cannot be read."};
constexpr Rule unknownKey{"unknown-key", Finding::Warning, "A key is none that is read."};
constexpr Rule unknownGroup{
    "unknown-group", Finding::Warning,
    "A group's name resembles that of a task's but does not declare one, and is passed over."};
constexpr Rule groupTwice{
    "group-twice", Finding::Warning,
    "A task's group is there twice: both are read as one, and of a key in both the last counts."};
constexpr Rule keyTwice{"key-twice", Finding::Warning,
                        "A key is there twice in one group, and the last counts."};
constexpr Rule entrySwitch{
    "entry-switch", Finding::Warning,
    "A switch of a desktop entry has none of its words, which are read to the letter, and has no "
    "effect."};
constexpr Rule manifestBoolean{"manifest-boolean", Finding::Warning,
                               "keepMediaActiveInBackground is no JSON boolean and counts as "
                               "false."};

constexpr Rule manifestOrphan{
    "manifest-orphan", Finding::Warning,
    "A manifest is of an application that no desktop entry declares, and nobody reads it."};
constexpr Rule autostartUserMissing{"autostart-user-missing", Finding::Warning,
                                    "An autostart setting is for a user that does not exist, and "
                                    "starts nothing; the daemon removes "
                                    "such files from its own folder."};

// Ids.
constexpr Rule idParsesOtherwise{
    "id-parses-otherwise", Finding::Warning,
    "An application's id has other parts, or none, for whoever gets it as a text."};
constexpr Rule idTooLong{"id-too-long", Finding::Error,
                         "The name of a task's unit would have more than 255 bytes, and no start "
                         "succeeds."};
constexpr Rule declarationRefused{"declaration-refused", Finding::Error,
                                  "What a task declares is refused whenever it is started."};

// Types.
constexpr Rule typeMissing{"type-missing", Finding::Error,
                           "A task has no type, and nobody gets to know it."};
constexpr Rule typeObjectPath{
    "type-object-path", Finding::Error,
    "A task's type cannot be part of an object path, so that nobody can register for it."};
constexpr Rule typeUnserved{
    "type-unserved", Finding::Warning,
    "No file says who serves a task's type, and it is left to the user's session."};

// Programs.
constexpr Rule execMissing{"exec-missing", Finding::Error,
                           "Neither a task nor its entry has an Exec, and every start is refused."};
constexpr Rule execRelative{"exec-relative", Finding::Error,
                            "A task's program has no absolute path, and every start is refused."};
constexpr Rule execNotThere{"exec-not-there", Finding::Error,
                            "A task's program is not there, and every start is refused."};
constexpr Rule execDirectory{"exec-directory", Finding::Error,
                             "A task's program is a directory, and every start is refused."};
constexpr Rule execNotExecutable{
    "exec-not-executable", Finding::Error,
    "A task's program may not be executed, and every start is refused."};
constexpr Rule execScript{"exec-script", Finding::Error,
                          "A task's program is no ELF binary, and every start is refused."};
constexpr Rule execQuotes{
    "exec-quotes", Finding::Warning,
    "Quotes and backslashes in a task's arguments are not read as a desktop entry's: systemd "
    "reads them by its own rules."};
constexpr Rule execFieldCode{
    "exec-field-code", Finding::Warning,
    "A task gets no files: a field code in its arguments is a specifier to systemd, which puts "
    "another text there or refuses the unit."};
constexpr Rule execExpansion{
    "exec-expansion", Finding::Warning,
    "systemd expands %, ${NAME} and arguments that begin with $, and refuses the unit for a % that "
    "it does not know."};

// Permissions.
constexpr Rule permissionMissing{
    "permission-missing", Finding::Warning,
    "There is no file of a permission that a task declares: started with it, the task does not "
    "have it."};
constexpr Rule basePermissionMissing{
    "base-permission-missing", Finding::Warning,
    "There is no file of a permission that every task is given: tasks run without what it "
    "forbids."};
constexpr Rule permissionName{
    "permission-name", Finding::Error,
    "A permission's name does not stay one word in a unit or path: with it a start is refused or "
    "goes without it."};

} // namespace LintRules

} // namespace Cli

#pragma once

#include "common/Core/findings.h"

// The table of all findings that readers and the planner make.

namespace Core {

/// One kind of finding.
struct Rule
{
    /// Stable, because scripts refer to it.
    const char *id;
    Finding::Severity severity;
    /// What is wrong and what follows from it, in one sentence.
    const char *sentence;
};

namespace Rules {

// Desktop entries.
constexpr Rule entryInvalid{
    "entry-invalid", Finding::Error,
    "A desktop entry is ignored because it cannot be read, has no known Type, or has no Name "
    "without a translation."};
constexpr Rule entryHidden{
    "entry-hidden", Finding::Note,
    "A desktop entry is ignored because it says Hidden=true, which means that it is deleted."};
constexpr Rule entryId{
    "entry-id", Finding::Error,
    "A desktop entry is ignored because neither it nor its file name gives an application id."};
constexpr Rule entryIdTwice{
    "entry-id-twice", Finding::Warning,
    "Two desktop entries in one folder declare the same application, and one of them is ignored."};
constexpr Rule entryShadowed{
    "entry-shadowed", Finding::Note,
    "A desktop entry is ignored because an earlier folder has one of the same application."};
constexpr Rule fileNameShadowed{
    "file-name-shadowed", Finding::Note,
    "An earlier folder has a desktop entry of the same file name, and mimeapps.list refers to it."};
constexpr Rule intentsSize{"intents-size", Finding::Warning,
                           "A desktop entry has so many intents that none of them is read."};
constexpr Rule mimeTypesSize{
    "mime-types-size", Finding::Warning,
    "A desktop entry has too many or too long MIME types, and some are left out."};

// Tasks.
constexpr Rule taskName{
    "task-name", Finding::Error,
    "A task is left out because its name is longer than 64 characters, starts with a digit or has "
    "characters other than ASCII letters and digits."};
constexpr Rule taskTwice{"task-twice", Finding::Warning,
                         "An entry declares a task twice, and the later group is used."};
constexpr Rule taskSize{"task-size", Finding::Error,
                        "A task declares more than 16 KiB and is left out."};
constexpr Rule tasksSize{
    "tasks-size", Finding::Error,
    "The tasks of an application declare more than 256 KiB, and some are left out."};
constexpr Rule taskListSize{
    "task-list-size", Finding::Warning,
    "The tasks of one type take more than 8 MiB, and those of some applications are left out."};

// The files of an application's package.
constexpr Rule manifestUnreadable{
    "manifest-unreadable", Finding::Warning,
    "A manifest cannot be read, and the application is treated as one without a manifest."};
constexpr Rule manifestIgnored{
    "manifest-ignored", Finding::Warning,
    "A manifest is not a JSON object, and the application is treated as one without a manifest."};
constexpr Rule manifestSyntax{"manifest-syntax", Finding::Error,
                              "A manifest has a JSON syntax error at the given place."};
constexpr Rule packageUnreadable{
    "package-unreadable", Finding::Warning,
    "A package file cannot be read, and the application is treated as one without a certificate."};

// The integrator's and the administrator's settings.
constexpr Rule overridesUnreadable{"overrides-unreadable", Finding::Error,
                                   "The version overrides exist but cannot be read."};
constexpr Rule overrideKey{
    "override-key", Finding::Error,
    "A version override is ignored because its wildcard is not the last part of the id."};
constexpr Rule overrideVersion{
    "override-version", Finding::Warning,
    "A version override is not a version, and the application is treated as one for the oldest "
    "system."};
constexpr Rule taskTypeUnreadable{
    "task-type-unreadable", Finding::Error,
    "The file of a task type cannot be read, and its tasks run in the user's session."};
constexpr Rule taskTypeBoolean{
    "task-type-boolean", Finding::Warning,
    "WorksInSession of a task type is neither true nor false, and is read as false."};
constexpr Rule mimeappsUnreadable{
    "mimeapps-unreadable", Finding::Warning,
    "mimeapps.list cannot be read, and the choices in it are ignored."};
constexpr Rule autostartSize{
    "autostart-size", Finding::Warning,
    "The autostart settings of one layer have more than 4 MiB, and the largest are left out."};
constexpr Rule autostartUnreadable{"autostart-unreadable", Finding::Error,
                                   "A file of autostart settings cannot be read."};
constexpr Rule autostartId{
    "autostart-id", Finding::Warning,
    "An autostart setting has no effect because its group is not an application id."};
constexpr Rule autostartUser{"autostart-user", Finding::Warning,
                             "An autostart setting is ignored because its user is not a number."};
constexpr Rule autostartBoolean{
    "autostart-boolean", Finding::Warning,
    "autostart is missing in a setting or is not a boolean: a missing value and a list are read as "
    "false, any other word as true."};

// Findings of the planner of a start.
constexpr Rule unknownPermission{
    "unknown-permission", Finding::Warning,
    "A start asks for a permission that has no file, and the task starts without it."};
constexpr Rule refusedBySandbox{
    "refused-by-sandbox", Finding::Error,
    "The start is refused because the sandbox does not accept the task's program."};

/// All rules, in the order in which the tool lists them.
constexpr const Rule *all[] = {
    &entryInvalid,        &entryHidden,        &entryId,
    &entryIdTwice,        &entryShadowed,      &fileNameShadowed,
    &intentsSize,         &mimeTypesSize,      &taskName,
    &taskTwice,           &taskSize,           &tasksSize,
    &taskListSize,        &manifestUnreadable, &manifestIgnored,
    &manifestSyntax,      &packageUnreadable,  &overridesUnreadable,
    &overrideKey,         &overrideVersion,    &taskTypeUnreadable,
    &taskTypeBoolean,     &mimeappsUnreadable, &autostartSize,
    &autostartUnreadable, &autostartId,        &autostartUser,
    &autostartBoolean,    &unknownPermission,  &refusedBySandbox,
};

} // namespace Rules

/// The place that a finding is about; empty parts do not apply.
struct FindingPlace
{
    QString file{};
    QString group{};
    QString key{};
    /// From 1; 0 when not known.
    int line = 0;
};

/// Makes a finding from a rule, without its text.
[[nodiscard]] Finding findingOf(const Rule &rule, const FindingPlace &place);

} // namespace Core

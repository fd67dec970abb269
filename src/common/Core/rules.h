#pragma once

#include "common/Core/findings.h"

// What a reader may have to say of a file: one table, which every finding of a reader is made from.

namespace Core {

/// One thing that a reader looks at.
struct Rule
{
    /// Stable: scripts and people name it.
    const char *id;
    Finding::Severity severity;
    /// What is found and what follows from it, in one sentence.
    const char *sentence;
};

namespace Rules {

// Desktop entries.
constexpr Rule entryInvalid{
    "entry-invalid", Finding::Error,
    "A desktop entry cannot be read, has no known Type or no Name without a translation, and is "
    "passed over."};
constexpr Rule entryHidden{
    "entry-hidden", Finding::Note,
    "A desktop entry says Hidden=true, which means that it is deleted, and is passed over."};
constexpr Rule entryId{
    "entry-id", Finding::Error,
    "Neither a desktop entry nor its file name gives an application id, and it is passed over."};
constexpr Rule entryIdTwice{
    "entry-id-twice", Finding::Warning,
    "Two desktop entries of one folder say that they are the same application, and one counts."};
constexpr Rule entryShadowed{
    "entry-shadowed", Finding::Note,
    "An earlier folder has a desktop entry of the same application, which counts instead."};
constexpr Rule fileNameShadowed{
    "file-name-shadowed", Finding::Note,
    "An earlier folder has a desktop entry of the same file name, which mimeapps.list means."};
constexpr Rule intentsSize{"intents-size", Finding::Warning,
                           "A desktop entry has so many intents that none of them is read."};
constexpr Rule mimeTypesSize{
    "mime-types-size", Finding::Warning,
    "MIME types of a desktop entry are too many or too long, and some are left out."};

// Tasks.
constexpr Rule taskName{
    "task-name", Finding::Error,
    "A task's name is longer than 64 characters, starts with a digit or has other characters than "
    "ASCII letters and digits, and the task is left out."};
constexpr Rule taskTwice{"task-twice", Finding::Warning,
                         "An entry declares a task twice, and the later group counts."};
constexpr Rule taskSize{"task-size", Finding::Error,
                        "A task declares more than 16 KiB and is left out."};
constexpr Rule tasksSize{
    "tasks-size", Finding::Error,
    "The tasks of an application declare more than 256 KiB, and some are left out."};
constexpr Rule taskListSize{
    "task-list-size", Finding::Warning,
    "The tasks of one type take more than 8 MiB, and those of some applications are left out."};

// What belongs to an application's package.
constexpr Rule manifestUnreadable{
    "manifest-unreadable", Finding::Warning,
    "A manifest is there but cannot be read, and the application counts as one without."};
constexpr Rule manifestIgnored{
    "manifest-ignored", Finding::Warning,
    "A manifest is not a JSON object, and the application counts as one without."};
constexpr Rule manifestSyntax{"manifest-syntax", Finding::Error,
                              "A manifest breaks the syntax of JSON at the place that is named."};
constexpr Rule packageUnreadable{
    "package-unreadable", Finding::Warning,
    "A package file is there but cannot be read, and the application has no certificate."};

// The integrator's and the administrator's settings.
constexpr Rule overridesUnreadable{"overrides-unreadable", Finding::Error,
                                   "The version overrides are there but cannot be read."};
constexpr Rule overrideKey{
    "override-key", Finding::Error,
    "A version override has a wildcard elsewhere than behind a dot at its end, and is ignored."};
constexpr Rule overrideVersion{
    "override-version", Finding::Warning,
    "A version override is no version, and the application counts as one for the oldest system."};
constexpr Rule taskTypeUnreadable{
    "task-type-unreadable", Finding::Error,
    "The file of a task type cannot be read, and the type is left to the user's session."};
constexpr Rule taskTypeBoolean{
    "task-type-boolean", Finding::Warning,
    "WorksInSession of a task type is neither true nor false, and counts as false."};
constexpr Rule mimeappsUnreadable{"mimeapps-unreadable", Finding::Warning,
                                  "mimeapps.list cannot be read, and no choice in it counts."};
constexpr Rule autostartSize{
    "autostart-size", Finding::Warning,
    "The autostart settings of one layer have more than 4 MiB, and the largest are left out."};
constexpr Rule autostartUnreadable{"autostart-unreadable", Finding::Error,
                                   "A file of autostart settings cannot be read."};
constexpr Rule autostartId{
    "autostart-id", Finding::Warning,
    "An autostart setting is for an application id that is none, and starts nothing."};
constexpr Rule autostartUser{
    "autostart-user", Finding::Warning,
    "An autostart setting names a user that is no number, and counts for nobody."};
constexpr Rule autostartBoolean{
    "autostart-boolean", Finding::Warning,
    "autostart of a setting is missing or no boolean: nothing and lists count as false, any other "
    "word as true."};

// What the planner of a start finds.
constexpr Rule unknownPermission{
    "unknown-permission", Finding::Warning,
    "A start asks for a permission without a file, and the task starts without it."};
constexpr Rule refusedBySandbox{
    "refused-by-sandbox", Finding::Error,
    "The sandbox does not take a task's program, and the start is refused."};

/// Every one of them, in the order in which a list shows them.
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

/// What a finding is about.
struct FindingPlace
{
    QString file{};
    QString group{};
    QString key{};
    /// From 1 on; 0 when it is not known.
    int line = 0;
};

/// A finding by a rule, without its text.
[[nodiscard]] Finding findingOf(const Rule &rule, const FindingPlace &place);

} // namespace Core

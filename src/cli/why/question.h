#pragma once

#include "cli/task_declaration.h"
#include "common/Core/application_catalogue.h"
#include "common/places.h"

#include <QString>

namespace Cli {

/// What the gates are asked about: an application, or one of its tasks, and what is installed.
struct Question
{
    Places places;
    /// As it was asked.
    QString id;
    QString application;
    /// Empty when the application is meant.
    QString taskName;
    /// The user that the task is to run as or the application to start for; empty: not known.
    QString user;
    /// Whether the system that is asked about runs: an image does not.
    bool isLive = true;

    Core::ApplicationCatalogue catalogue;
    /// Not valid when no application of that id is installed.
    Core::ApplicationInfo entry;
    /// Its task's id is not valid when the entry does not declare the task.
    TaskDeclaration declaration;

    [[nodiscard]] bool isTask() const { return !taskName.isEmpty(); }
    [[nodiscard]] bool isDeclared() const { return declaration.task.taskId.isValid(); }
    /// Whether the per-user service runs the task, and not the daemon.
    [[nodiscard]] bool isOfSession() const
    {
        return isDeclared() && declaration.type.worksInSession;
    }
};

/// Takes an id apart and looks at what is installed. Everything is read once, in the places of this
/// process.
[[nodiscard]] Question questionOf(const QString &id);

} // namespace Cli

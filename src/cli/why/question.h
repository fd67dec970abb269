#pragma once

#include "cli/task_declaration.h"
#include "common/Core/application_catalogue.h"
#include "common/places.h"

#include <QString>

namespace Cli {

/// What to explain: an application, or one of its tasks, and what is installed.
struct Question
{
    Places places;
    /// The id as the user gave it.
    QString id;
    QString application;
    /// Empty when the question is about the application.
    QString taskName;
    /// The user that the task is to run as or the application to start for; empty when unknown.
    QString user;
    /// Whether the question is about the running system rather than an image.
    bool isLive = true;

    Core::ApplicationCatalogue catalogue;
    /// Invalid when no application with this id is installed.
    Core::ApplicationInfo entry;
    /// Its task's id is invalid when the entry does not declare the task.
    TaskDeclaration declaration;

    [[nodiscard]] bool isTask() const { return !taskName.isEmpty(); }
    [[nodiscard]] bool isDeclared() const { return declaration.task.taskId.isValid(); }
    /// Whether the per-user service, rather than the daemon, runs the task.
    [[nodiscard]] bool isOfSession() const
    {
        return isDeclared() && declaration.type.worksInSession;
    }
};

/// Splits an id and reads what is installed, once, in the places of this process.
[[nodiscard]] Question questionOf(const QString &id);

} // namespace Cli

#pragma once

#include "common/DBus/types.h"

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QVector>

#include <optional>

namespace DBus {

class TaskInvokerSession;

class TaskInvokerSessionPrivate : public QObject
{
    Q_OBJECT

public:
    TaskInvokerSessionPrivate(const QString &type, TaskInvokerSession *session);

    /// Both look at what applications declare when they are first called, not before: the first
    /// scan of a run is for the client that wants to know.
    [[nodiscard]] const QVector<Orvane::ActiveTask> &currentActiveTasks();
    [[nodiscard]] const QVector<Orvane::AvailableTask> &currentAvailableTasks();
    /// The catalogue was read anew. Announces the list if it has become another.
    void takeDeclaredTasks();

    QDBusConnection connection;
    const QString taskType;
    QVector<Orvane::ActiveTask> activeTasks;
    /// The task manager has told of changes since.
    bool activeTasksAreOld = true;
    /// Of the running tasks that they were made of; none run at 0.
    quint64 activeTasksRevision = 0;
    /// None before the first question.
    std::optional<QVector<Orvane::AvailableTask>> availableTasks;
    TaskInvokerSession *const q;
};

} // namespace DBus

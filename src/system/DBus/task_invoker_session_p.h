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

    /// Both scan the applications at their first call and not before, so that the first scan of a
    /// run is for a client that needs it.
    [[nodiscard]] const QVector<Orvane::ActiveTask> &currentActiveTasks();
    [[nodiscard]] const QVector<Orvane::AvailableTask> &currentAvailableTasks();
    /// To be called after a scan. Announces the list if it has changed.
    void updateAvailableTasks();

    QDBusConnection connection;
    const QString taskType;
    QVector<Orvane::ActiveTask> activeTasks;
    /// Whether the task manager has reported changes since the list was made.
    bool areActiveTasksStale = true;
    /// Revision of the running tasks that the list was made from; 0 when none were running.
    quint64 activeTasksRevision = 0;
    /// Nothing before the first call.
    std::optional<QVector<Orvane::AvailableTask>> availableTasks;
    TaskInvokerSession *const q;
};

} // namespace DBus

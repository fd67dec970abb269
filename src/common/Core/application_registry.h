#pragma once

#include "common/Core/application_info.h"
#include "common/Core/uri_handlers.h"

#include <QList>
#include <QObject>

#include <memory>

struct Places;

namespace Core {

class ApplicationRegistryPrivate;
class Findings;

/// The live catalogue of installed applications: every desktop entry in the standard application
/// folders, scanned again when one of them changes. Event-loop thread only.
class ApplicationRegistry : public QObject
{
    Q_OBJECT

public:
    using TaskInfo = ApplicationInfo::TaskInfo;

    /// Scans the folders, then watches them.
    /// @param findings has to outlive this object.
    ApplicationRegistry(const Places &places, Findings &findings, QObject *parent = nullptr);
    ~ApplicationRegistry() override;
    /// The registry that the process shares, of Places::ofProcess(). Created by the first call,
    /// never destroyed. Logs its findings.
    static ApplicationRegistry *instance();

    /// The record of an application; an invalid record when the application is unknown.
    [[nodiscard]] ApplicationInfo application(const ApplicationId &id) const;
    /// A task's record; a shared empty record, whose id is invalid, when the application or the
    /// task is unknown. The reference is valid until the next scan.
    [[nodiscard]] const TaskInfo &task(const ApplicationTaskId &id) const;
    /// All tasks of an application, sorted by task name.
    [[nodiscard]] QList<TaskInfo> tasksOfApplication(const ApplicationId &id) const;
    /// All tasks whose type is exactly `type`, sorted by application id, then task name. Together
    /// they are at most largestTaskList bytes, so that they fit into a message of the bus. If there
    /// are more, the tasks of the applications that declare most are left out, with one log line.
    [[nodiscard]] QList<TaskInfo> tasksOfType(const QString &type) const;
    /// The platform generation that the application is written for: 0, 1 or 2.
    [[nodiscard]] int compatibilityLevel(const ApplicationId &id) const;
    /// Ids of the applications that can open a URI, best first.
    [[nodiscard]] QStringList handlersForUri(const QUrl &uri, const HandlerFilters &filters) const;
    /// Stores an application as the user's choice for the type of a URI. An application that is not
    /// installed is logged and changes nothing.
    void setDefaultHandlerForUri(const QUrl &uri, const ApplicationId &application);

Q_SIGNALS:
    /// Emitted at the end of every scan.
    void manifestsChanged();

private:
    std::unique_ptr<ApplicationRegistryPrivate> const d;
};

} // namespace Core

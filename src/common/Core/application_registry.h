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

/// The live catalogue of installed applications: every desktop entry in the standard applications
/// directories, re-read as a whole when one of them changes. Main thread only.
class ApplicationRegistry : public QObject
{
    Q_OBJECT

public:
    using TaskInfo = ApplicationInfo::TaskInfo;

    /// Scans at once, then watches.
    /// @param findings has to live as long as this object.
    ApplicationRegistry(const Places &places, Findings &findings, QObject *parent = nullptr);
    ~ApplicationRegistry() override;
    /// The registry that the process shares, of Places::ofProcess(); created by the first call,
    /// never destroyed. Logs what it finds.
    static ApplicationRegistry *instance();

    /// The record of an application; one that is not valid when it is unknown.
    [[nodiscard]] ApplicationInfo application(const ApplicationId &id) const;
    /// A task's record; one shared empty record (its id is not valid) when the application or the
    /// task is unknown. The reference holds until the next scan.
    [[nodiscard]] const TaskInfo &task(const ApplicationTaskId &id) const;
    /// All tasks of an application, in order of task name.
    [[nodiscard]] QList<TaskInfo> tasksOfApplication(const ApplicationId &id) const;
    /// All tasks whose type is exactly `type`, in order of application id, then task name. Together
    /// they take no more than largestTaskList bytes, so that the bus carries them: what is over,
    /// the tasks of the applications that declare most, is left out with one log line.
    [[nodiscard]] QList<TaskInfo> tasksOfType(const QString &type) const;
    /// Which platform generation the application is written for: 0, 1 or 2.
    [[nodiscard]] int compatibilityLevel(const ApplicationId &id) const;
    /// Ids of the applications that can open a URI, best first.
    [[nodiscard]] QStringList handlersForUri(const QUrl &uri, const HandlerFilters &filters) const;
    /// Makes an application the user's choice for the type of a URI, for good. An application that
    /// is not installed is logged and changes nothing.
    void setDefaultHandlerForUri(const QUrl &uri, const ApplicationId &application);

Q_SIGNALS:
    /// The catalogue was read anew. Emitted at the end of every scan.
    void manifestsChanged();

private:
    std::unique_ptr<ApplicationRegistryPrivate> const d;
};

} // namespace Core

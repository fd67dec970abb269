#pragma once

#include "common/Core/error.h"

#include <QDeadlineTimer>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <QVector>

#include <functional>
#include <optional>

class QDBusArgument;

namespace Core {

class SystemdProxyPrivate;

/// Names and values of systemd's D-Bus interface.
namespace Systemd {
inline QString service() { return QStringLiteral("org.freedesktop.systemd1"); }
inline QString managerPath() { return QStringLiteral("/org/freedesktop/systemd1"); }
inline QString mainPid() { return QStringLiteral("MainPID"); }
inline QString activeState() { return QStringLiteral("ActiveState"); }
inline QString subState() { return QStringLiteral("SubState"); }
inline QString active() { return QStringLiteral("active"); }
inline QString inactive() { return QStringLiteral("inactive"); }
inline QString failed() { return QStringLiteral("failed"); }
inline QString running() { return QStringLiteral("running"); }
inline QString enabled() { return QStringLiteral("enabled"); }
inline QString replace() { return QStringLiteral("replace"); }
} // namespace Systemd

/// Deadlines of a job request, and a callback for when it is sent.
struct JobTerms
{
    /// A request that has not been sent by then is dropped and fails.
    QDeadlineTimer sendBy = QDeadlineTimer::Forever;
    /// A request that has not been answered by then fails.
    QDeadlineTimer answerBy = QDeadlineTimer::Forever;
    /// Runs with true right after the request was sent, which may be inside the call that makes it,
    /// or with false when it was dropped.
    std::function<void(bool sent)> left = {};
};

/// The daemon's connection to systemd: the operations of its manager, all asynchronous, and one
/// signal for the property changes of watched units. Nothing logs, and nothing blocks but the first
/// watch of a unit, for which the framework asks the bus for systemd's process. Callbacks run from
/// the event loop, never inside the call that they belong to. Reloads and stop jobs are sent in the
/// order of the calls, and so are start jobs; reloads and stop jobs that wait are sent before start
/// jobs. Event-loop thread only.
class SystemdProxy : public QObject
{
    Q_OBJECT

public:
    /// One entry of the unit listing. On the bus: (ssssssouso)
    struct Unit
    {
        QString name;
        QString description;
        QString activeState;
        QString subState;
        /// The unit's object path.
        QString path;
        quint32 jobId = 0;
    };

    /// One entry of the unit file listing. On the bus: (ss)
    struct UnitFileStatus
    {
        QString path;
        /// Enablement state, for example "enabled".
        QString state;
    };

    /// Get the records of a listing.
    using UnitsCallback = std::function<void(const QVector<Unit> &)>;
    using UnitFilesCallback = std::function<void(const QVector<UnitFileStatus> &)>;
    /// Gets the job's object path, empty on failure, and the outcome.
    using JobCallback = std::function<void(const QString &, const Error &)>;
    /// Gets a process id; nothing when it is not known.
    using PidCallback = std::function<void(std::optional<qint32>)>;

    /// Subscribes to systemd's unit signals. Does so again whenever another process takes systemd's
    /// name, because that one does not know of the subscription.
    explicit SystemdProxy(QObject *parent = nullptr);
    ~SystemdProxy() override;

    /// Lists the loaded units.
    /// @param states states of units to list; all when empty.
    /// @param patterns name patterns, of which a unit has to match one.
    /// @param failed runs instead of the callback when the listing failed. If it is empty, the
    /// callback gets an empty list.
    void listUnitsByPatterns(const QStringList &states, const QStringList &patterns,
                             UnitsCallback callback, const std::function<void()> &failed = {});
    /// Lists the installed unit files in the same way.
    void listUnitFilesByPatterns(const QStringList &states, const QStringList &patterns,
                                 UnitFilesCallback callback,
                                 const std::function<void()> &failed = {});
    /// Enables units so that they start at boot. The answer is ignored.
    /// @param files unit names or paths of unit files.
    /// @param runtime whether only until the next boot.
    /// @param force whether links of other units are replaced.
    void enableUnitFiles(const QStringList &files, bool runtime, bool force);
    /// Disables units. The answer is ignored.
    void disableUnitFiles(const QStringList &files, bool runtime);
    /// Makes systemd reload its unit files.
    /// @param answered runs when systemd has answered or the deadline is over.
    void reload(const std::function<void()> &answered = {},
                QDeadlineTimer answerBy = QDeadlineTimer::Forever);
    /// Watches the unit and requests a start job. Success means that the job was accepted, not that
    /// the unit is running.
    /// @param mode mode of the job, as in systemctl(1): "replace".
    void startUnit(const QString &name, const QString &mode, const JobCallback &callback,
                   const JobTerms &terms = {});
    /// Requests a stop job. The unit is watched until the answer arrives.
    void stopUnit(const QString &name, const QString &mode, const JobCallback &callback,
                  const JobTerms &terms = {});
    /// Asks for the main process of a unit, with the lowest priority.
    void mainPid(const QString &name, PidCallback callback);
    /// Reports the unit's property changes from now on. A second call has no effect.
    void watchUnit(const QString &name);
    /// Number of watched units.
    [[nodiscard]] int watchedUnits() const;

    /// The unit's object path. Differs from systemd's own rule for leading digits and non-ASCII
    /// bytes, which the name of a task unit does not have.
    [[nodiscard]] static QString unitObjectPath(const QString &name);

Q_SIGNALS:
    /// Another process has taken systemd's name, and its signals are subscribed. Changes in between
    /// have not been reported.
    void managerReplaced();
    /// Properties of a watched unit changed, of any of its interfaces. Has only the changed values.
    void unitPropertiesChanged(const QString &unitName, const QVariantMap &properties);

private:
    SystemdProxyPrivate *const d;
};

QDBusArgument &operator<<(QDBusArgument &argument, const SystemdProxy::Unit &unit);
const QDBusArgument &operator>>(const QDBusArgument &argument, SystemdProxy::Unit &unit);
QDBusArgument &operator<<(QDBusArgument &argument, const SystemdProxy::UnitFileStatus &status);
const QDBusArgument &operator>>(const QDBusArgument &argument,
                                SystemdProxy::UnitFileStatus &status);

} // namespace Core

Q_DECLARE_METATYPE(Core::SystemdProxy::Unit)
Q_DECLARE_METATYPE(Core::SystemdProxy::UnitFileStatus)

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

/// The names that systemd's manager uses and that the task manager reads.
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

/// How long a job may be asked for, and who hears that it has been.
struct JobTerms
{
    /// When the job has not been asked for by then it never is, and that is its outcome.
    QDeadlineTimer sendBy = QDeadlineTimer::Forever;
    /// When systemd has not answered by then, that is its outcome.
    QDeadlineTimer answerBy = QDeadlineTimer::Forever;
    /// Runs right behind the question, perhaps inside the call that asks, or with false when
    /// the job is not asked for.
    std::function<void(bool sent)> left = {};
};

/// The daemon's only client of systemd: the manager's operations, all asynchronous, and one signal
/// for the property changes of the units that are watched. Nothing here blocks or logs; callbacks
/// run later from the event loop, never inside the call that they complete. Reloads and stop jobs
/// reach systemd in the order in which they were asked, and so do start jobs. Of what waits while
/// systemd is busy, reloads and stop jobs go first. Event-loop thread only.
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

    using UnitsCallback = std::function<void(const QVector<Unit> &)>;
    using UnitFilesCallback = std::function<void(const QVector<UnitFileStatus> &)>;
    /// Job path, empty on failure, and the outcome.
    using JobCallback = std::function<void(const QString &, const Error &)>;
    /// A process id; nothing when it is not known.
    using PidCallback = std::function<void(std::optional<qint32>)>;

    /// Subscribes to systemd's unit signals, and again whenever another process has systemd's name
    /// on the bus: it knows nothing of the subscription with the one before.
    explicit SystemdProxy(QObject *parent = nullptr);
    ~SystemdProxy() override;

    /// @param failed runs in the callback's place when the listing failed. Without it the callback
    /// is given an empty vector.
    void listUnitsByPatterns(const QStringList &states, const QStringList &patterns,
                             UnitsCallback callback, const std::function<void()> &failed = {});
    void listUnitFilesByPatterns(const QStringList &states, const QStringList &patterns,
                                 UnitFilesCallback callback,
                                 const std::function<void()> &failed = {});
    void enableUnitFiles(const QStringList &files, bool runtime, bool force);
    void disableUnitFiles(const QStringList &files, bool runtime);
    /// @param answered runs when systemd has reloaded or refused to, or the deadline is over.
    void reload(const std::function<void()> &answered = {},
                QDeadlineTimer answerBy = QDeadlineTimer::Forever);
    /// Watches the unit, then asks for the job. Success says that the job was accepted, not that
    /// the unit runs.
    void startUnit(const QString &name, const QString &mode, const JobCallback &callback,
                   const JobTerms &terms = {});
    /// The same for the stop job, with the unit watched until the answer is there.
    void stopUnit(const QString &name, const QString &mode, const JobCallback &callback,
                  const JobTerms &terms = {});
    /// Asks for the main process of a unit, behind everything else.
    void mainPid(const QString &name, PidCallback callback);
    /// Has the unit's property changes reported. Watching twice is watching once; for ever.
    void watchUnit(const QString &name);
    /// How many units are watched, for ever or for a stop job.
    [[nodiscard]] int watchedUnits() const;

    /// The unit's object path as this process derives it. Differs from systemd's own rule for
    /// leading digits and non-ASCII bytes, neither of which a task unit's name has.
    [[nodiscard]] static QString unitObjectPath(const QString &name);

Q_SIGNALS:
    /// Another process has systemd's name now and is subscribed to. What changed meanwhile has not
    /// been reported.
    void managerReplaced();
    /// Properties of a watched unit changed; only changed values, any interface.
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

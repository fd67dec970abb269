#pragma once

#include "cli/process_tree.h"
#include "client/outcome.h"
#include "common/DBus/call_queue.h"

#include <QDBusConnection>
#include <QObject>
#include <QStringList>
#include <QVariantMap>
#include <QVector>

#include <functional>

namespace Cli {

/// A unit in systemd's list.
struct ListedUnit
{
    QString name;
    QString path;
    QString activeState;
    /// The id of the job that is to stop it; 0 when there is none.
    uint stopJob = 0;
};

/// A property of a unit.
struct UnitProperty
{
    /// "Unit" or "Service".
    const char *interface;
    const char *name;
};

/// Reads the state of tasks' units from systemd. Asynchronous: each callback is called once, in the
/// order in which systemd sent answers and signals. Needs no privileges.
class Systemd : public QObject
{
    Q_OBJECT

public:
    using Done = std::function<void(const Client::Outcome &)>;
    using Units = std::function<void(const Client::Outcome &, const QVector<ListedUnit> &)>;
    using Properties = std::function<void(const QVector<QVariantMap> &)>;
    using Processes = std::function<void(const QVector<QVector<UnitProcess>> &)>;

    explicit Systemd(const QDBusConnection &bus, QObject *parent = nullptr);

    /// Enables the signals below.
    void follow(Done callback);
    /// Lists the units of tasks that systemd has loaded: all that run or have failed, perhaps
    /// others.
    void listUnits(Units callback);
    /// Reads all properties of units, one map per unit; the map is empty for a unit that no longer
    /// exists.
    void properties(const QStringList &paths, Properties callback);
    /// Reads some properties of units, one map per unit, without those that are unknown. Much
    /// cheaper than reading all, for which systemd has to look up a lot.
    void properties(const QStringList &paths, const QVector<UnitProperty> &wanted,
                    Properties callback);
    /// Reads the processes of each unit, without their parents; empty where they are unknown.
    void processes(const QStringList &units, Processes callback);

Q_SIGNALS:
    /// Properties of a task's unit have changed.
    /// @param interface "Unit" or "Service"; systemd sends the service's first.
    void taskChanged(const QString &taskId, const QString &interface, const QVariantMap &changed);
    /// systemd has finished a job of a task's unit.
    /// @param job the job's id.
    /// @param result "done", or why it did not succeed: "failed", "dependency", "canceled" ...
    void taskJobRemoved(const QString &taskId, uint job, const QString &result);
    /// The connection to the bus is lost.
    void disconnected();

private Q_SLOTS:
    void onPropertiesChanged(const QDBusMessage &message);
    void onJobRemoved(const QDBusMessage &message);

private:
    using Reply = std::function<void(const QDBusMessage &)>;
    using Replies = std::function<void(const QVector<QDBusMessage> &)>;

    void call(const QDBusMessage &message, const Reply &callback);
    void callAll(const QVector<QDBusMessage> &messages, const Replies &callback);

    QDBusConnection m_bus;
    DBus::CallQueue m_calls;
};

} // namespace Cli

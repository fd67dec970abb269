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

/// A unit as systemd lists it.
struct ListedUnit
{
    QString name;
    QString path;
    QString activeState;
};

/// A property of a unit.
struct UnitProperty
{
    /// "Unit" or "Service".
    const char *interface;
    const char *name;
};

/// The units of tasks, as systemd's manager tells of them. Asynchronous: each callback is called
/// once, in the order in which systemd sent answers and signals. Takes no privilege.
class Systemd : public QObject
{
    Q_OBJECT

public:
    using Done = std::function<void(const Client::Outcome &)>;
    using Units = std::function<void(const Client::Outcome &, const QVector<ListedUnit> &)>;
    using Properties = std::function<void(const QVector<QVariantMap> &)>;
    using Processes = std::function<void(const QVector<QVector<UnitProcess>> &)>;

    explicit Systemd(const QDBusConnection &bus, QObject *parent = nullptr);

    /// Has the signals below emitted from now on.
    void follow(Done callback);
    /// Gives the units of tasks that systemd has loaded: all that run or have failed, perhaps
    /// others.
    void listUnits(Units callback);
    /// Gives all properties of units, of each in one map; an empty one for a unit that is gone.
    void properties(const QStringList &paths, Properties callback);
    /// Gives these properties of units, of each in one map, without those that are not known.
    /// systemd looks up much for all of a unit's properties, so that few cost a small part of it.
    void properties(const QStringList &paths, const QVector<UnitProperty> &wanted,
                    Properties callback);
    /// Gives the processes of each unit, without their parents; none where they are not known.
    void processes(const QStringList &units, Processes callback);

Q_SIGNALS:
    /// Properties of a task's unit have changed.
    /// @param interface "Unit" or "Service"; systemd tells of the service first.
    void taskChanged(const QString &taskId, const QString &interface, const QVariantMap &changed);
    /// systemd is done with a job of a task's unit.
    /// @param result "done", or why it came to nothing: "failed", "dependency", "canceled" ...
    void taskJobRemoved(const QString &taskId, const QString &result);
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

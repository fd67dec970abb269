#pragma once

#include "common/DBus/call_queue.h"
#include "system/Core/systemd_proxy.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QHash>
#include <QObject>

namespace Core {

/// The client of systemd's manager. Not one of the framework's interface objects, because
/// these ask the bus for the owner of their service and wait for the answer.
class SystemdProxyPrivate : public QObject
{
    Q_OBJECT

public:
    explicit SystemdProxyPrivate(SystemdProxy *proxy);

    void callForJob(const QDBusMessage &message, DBus::CallQueue::Lane lane, const JobTerms &terms,
                    const SystemdProxy::JobCallback &callback);
    /// Asks systemd to send signals.
    void subscribe();
    /// Watches for a new owner of systemd's name.
    void watchOwner();
    /// Adds the match rule for property changes of units, at the first call.
    void subscribeOnce();

    /// Why a unit is watched.
    struct Watch
    {
        QString unit;
        /// Whether the watch stays after all stop jobs.
        bool isPermanent = false;
        /// Stop jobs that are not answered yet.
        int stops = 0;
    };
    Watch &watchAt(const QString &objectPath, const QString &unit);
    /// Ends the watch that a stop job began, because a client may stop units that do not exist.
    void endStop(const QString &objectPath);

    SystemdProxy *const q;
    QDBusConnection bus;
    DBus::CallQueue calls;
    bool isSubscribed = false;
    /// By object path, so that the cost of a signal does not depend on the number of units.
    QHash<QString, Watch> watches;

public Q_SLOTS:
    void onUnitPropertiesChanged(const QDBusMessage &msg);
};

} // namespace Core

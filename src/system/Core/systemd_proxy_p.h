#pragma once

#include "common/DBus/call_queue.h"
#include "system/Core/systemd_proxy.h"

#include <QDBusAbstractInterface>
#include <QDBusMessage>
#include <QHash>

namespace Core {

/// The manager's interface object.
class SystemdProxyPrivate : public QDBusAbstractInterface
{
    Q_OBJECT

public:
    explicit SystemdProxyPrivate(SystemdProxy *proxy);

    [[nodiscard]] QDBusMessage managerCall(const QString &method,
                                           const QVariantList &arguments = {}) const;
    void callForJob(const QDBusMessage &message, DBus::CallQueue::Lane lane, const JobTerms &terms,
                    const SystemdProxy::JobCallback &callback);
    /// Has systemd send its signals.
    void subscribe();
    /// Notices when systemd's name gets another owner.
    void watchOwner();
    /// Has the bus deliver what systemd says of units.
    void subscribeOnce();

    /// Why a unit is watched.
    struct Watch
    {
        QString unit;
        bool forEver = false;
        /// Stop jobs that are not answered yet.
        int stops = 0;
    };
    Watch &watchAt(const QString &objectPath, const QString &unit);
    /// Ends what a stop job began, whose unit may be a client's invention.
    void endStop(const QString &objectPath);

    SystemdProxy *const q;
    DBus::CallQueue calls;
    bool isSubscribed = false;
    /// By object path: a signal must not cost a walk over all units.
    QHash<QString, Watch> watches;

public Q_SLOTS:
    void onUnitPropertiesChanged(const QDBusMessage &msg);
};

} // namespace Core

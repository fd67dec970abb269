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
    void callForJob(const QString &method, const QString &unit, const QString &mode,
                    const SystemdProxy::JobCallback &callback);
    void watchUnit(const QString &name);

    SystemdProxy *const q;
    DBus::CallQueue calls;
    /// Names in order of subscription.
    QStringList watchedUnits;
    /// The first watched name of each object path: a signal must not cost a walk over all names.
    QHash<QString, QString> unitByPath;

public Q_SLOTS:
    void onUnitPropertiesChanged(const QDBusMessage &msg);
};

} // namespace Core

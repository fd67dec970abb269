#pragma once

#include "system/DBus/session_proxy.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QVariantMap>

class QDBusPendingCallWatcher;

namespace DBus {

class SessionProxyPrivate : public QObject
{
    Q_OBJECT

public:
    SessionProxyPrivate(const QString &path, SessionProxy *proxy);
    ~SessionProxyPrivate() override;

    [[nodiscard]] QString introspect(const QString &requestedPath) const;
    void reportObjectPaths(const QDBusMessage &reply, const QString &creatorId);

    QDBusConnection connection;
    QString path;
    quint32 busyCount = 0;
    SessionProxy *const q;

public Q_SLOTS:
    void onPropertiesChanged(const QString &interface, const QVariantMap &changed,
                             const QStringList &invalidated);
};

} // namespace DBus

#pragma once

#include <QDBusMessage>
#include <QHash>
#include <QObject>
#include <QString>

namespace DBus {

class SessionProxyPrivate;

/// Hands the property changes of the per-user service to the proxies of the objects that changed.
/// One match rule serves all proxies: the bus grants a connection 512. Event-loop thread only.
class UserServiceChanges : public QObject
{
    Q_OBJECT

public:
    /// The one that the process shares, on the system bus; made by the first call.
    static UserServiceChanges &instance();

    /// Hands the changes of an object to a proxy, not owned, from now on.
    void deliver(const QString &path, SessionProxyPrivate *proxy);
    /// Stops that. Another proxy that serves the path by now is left alone.
    void forget(const QString &path, const SessionProxyPrivate *proxy);

private Q_SLOTS:
    void onPropertiesChanged(const QDBusMessage &signal);

private:
    UserServiceChanges();

    QHash<QString, SessionProxyPrivate *> m_proxies;
};

} // namespace DBus

#pragma once

#include <QDBusMessage>
#include <QHash>
#include <QObject>
#include <QString>

namespace DBus {

class SessionProxyPrivate;

/// Passes property changes of the per-user service's objects to their proxies. One match rule
/// serves all proxies, because the bus allows a connection only 512. Event-loop thread only.
class UserServiceChanges : public QObject
{
    Q_OBJECT

public:
    /// The instance of this process, on the system bus; made by the first call, never destroyed.
    static UserServiceChanges &instance();

    /// Asks the bus for the changes. To be called once, when the daemon has its name: the framework
    /// asks the bus for the owner of the user service's name and waits for the answer.
    void follow();
    /// Passes the changes of the object at a path to a proxy from now on.
    /// @param proxy not owned; has to call forget() before it is destroyed.
    void deliver(const QString &path, SessionProxyPrivate *proxy);
    /// Stops this, unless another proxy serves the path by now.
    void forget(const QString &path, const SessionProxyPrivate *proxy);

private Q_SLOTS:
    void onPropertiesChanged(const QDBusMessage &signal);

private:
    UserServiceChanges() = default;

    QHash<QString, SessionProxyPrivate *> m_proxies;
};

} // namespace DBus

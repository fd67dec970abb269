#pragma once

#include <QObject>
#include <QStringList>

class QDBusConnection;

namespace DBus {

class PropertyNotifierPrivate;

/// Announces changes of an object's own properties on the bus, as PropertiesChanged of
/// org.freedesktop.DBus.Properties. Listens to the notify signals of the properties, and sends all
/// changes of one pass of the event loop in one signal. The interface name is the class information
/// "D-Bus Interface" of the object. A child of the object, so it is destroyed with it. Event-loop
/// thread only.
class PropertyNotifier : public QObject
{
    Q_OBJECT

public:
    /// @param connection the connection to send on.
    /// @param path object path that the signal is sent from.
    /// @param object the observed object, which becomes the parent.
    PropertyNotifier(const QDBusConnection &connection, const QString &path, QObject *object);
    ~PropertyNotifier() override;

    /// Announces the named properties at once in one signal, except those whose value is the one
    /// announced last. Names are case-sensitive; unknown ones are ignored.
    void notify(const QStringList &properties);

private:
    PropertyNotifierPrivate *const d;
};

} // namespace DBus

#pragma once

#include <QObject>
#include <QStringList>

class QDBusConnection;

namespace DBus {

class PropertyNotifierPrivate;

/// Announces the changes of an object's own properties on the bus, as PropertiesChanged of
/// org.freedesktop.DBus.Properties: listens to their notify signals, gathers the changes of one
/// pass of the event loop and sends them as one signal. Child of the watched object, so it dies
/// with it. The interface named is the object's class information "D-Bus Interface".
/// Event-loop thread only.
class PropertyNotifier : public QObject
{
    Q_OBJECT

public:
    /// @param path object path that the signal is sent from.
    /// @param object the watched object, which becomes the parent.
    PropertyNotifier(const QDBusConnection &connection, const QString &path, QObject *object);
    ~PropertyNotifier() override;

    /// Announces at once, in one signal, those of the named properties whose value changed since
    /// they were last announced. Names are compared exactly; unknown ones are ignored.
    void notify(const QStringList &properties);

private:
    PropertyNotifierPrivate *const d;
};

} // namespace DBus

#pragma once

#include "support/death_bound_process.h"

#include <QDBusConnection>
#include <QString>
#include <QTemporaryDir>

/// A bus of the test's own: a dbus-daemon with the limits of a system bus, on which every user may
/// connect, own every name and call everybody. It ends with the object. Everything outside
/// containers that needs a bus starts it by this class; scripts use the program private-bus.
class PrivateBus
{
public:
    /// @param configuration further elements of the bus's configuration, such as other limits.
    explicit PrivateBus(const QString &configuration = {});
    ~PrivateBus();
    Q_DISABLE_COPY(PrivateBus)

    /// Starts the bus and waits until it accepts connections.
    /// @return whether it does.
    [[nodiscard]] bool start();
    /// Kills the bus.
    void stop();
    /// Sends a signal to the bus's process.
    void sendSignal(int number);
    [[nodiscard]] QString address() const;
    /// The connection with a name, which is made when there is none yet. It stays until
    /// QDBusConnection::disconnectFromBus() of that name.
    [[nodiscard]] QDBusConnection connect(const QString &name) const;
    /// Has the bus start a program when its name is called. This takes effect the next time that
    /// the bus reads its configuration.
    [[nodiscard]] bool activate(const QString &name, const QString &command) const;

private:
    const QString m_configuration;
    QTemporaryDir m_directory;
    DeathBoundProcess m_daemon;
};

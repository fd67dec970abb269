#pragma once

#include "common/qt_version.h"

#include <QDBusConnection>
#include <QString>
#include <QTemporaryDir>

/// A bus of the test's own: a dbus-daemon with the limits of a system bus, on which every user may
/// connect, own every name and call everybody. It ends with the object. Everything outside
/// containers that needs a bus starts it by this class; scripts use the program private-bus. With
/// ORVANE_TEST_BUS=broker in the environment it is dbus-broker.
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
    /// Sends a signal to the bus's processes.
    void sendSignal(int number);
    [[nodiscard]] QString address() const;
    /// The connection with a name, which is made when there is none yet. It stays until
    /// QDBusConnection::disconnectFromBus() of that name.
    [[nodiscard]] QDBusConnection connect(const QString &name) const;
    /// Why a test that needs activate() is skipped on dbus-broker.
    static constexpr char noActivation[] = "dbus-broker has systemd start programs";
    /// Whether it is dbus-broker.
    [[nodiscard]] static bool isBroker();
    /// Has the bus start a program when its name is called. This takes effect the next time that
    /// the bus reads its configuration. dbus-broker cannot do it: see noActivation.
    [[nodiscard]] bool activate(const QString &name, const QString &command) const;

private:
    [[nodiscard]] bool startDaemon(const QString &configurationFile);
    [[nodiscard]] bool startBroker(const QString &configurationFile);

    const QString m_configuration;
    QTemporaryDir m_directory;
    PreparedProcess m_bus;
};

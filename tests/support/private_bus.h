#pragma once

#include "support/death_bound_process.h"

#include <QString>
#include <QTemporaryDir>

/// A dbus-daemon of the test's own, with the limits of a system bus and no restrictions. Ends with
/// the object.
class PrivateBus
{
public:
    /// @param configuration further elements of the bus's configuration, such as other limits.
    explicit PrivateBus(const QString &configuration = {});
    ~PrivateBus();
    Q_DISABLE_COPY(PrivateBus)

    /// @return whether the bus accepts connections.
    [[nodiscard]] bool start();
    /// Ends it without a word to anybody.
    void stop();
    void sendSignal(int number);
    [[nodiscard]] QString address() const;
    /// Has the bus start a program when its name is called; from the next time on that the bus
    /// reads its configuration.
    [[nodiscard]] bool activate(const QString &name, const QString &command) const;

private:
    const QString m_configuration;
    QTemporaryDir m_directory;
    DeathBoundProcess m_daemon;
};

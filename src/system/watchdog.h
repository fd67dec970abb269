#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QTimer>

/// Tells the service manager that this process still works: that its event loop runs and that the
/// bus answers it. The manager ends and restarts a process that it does not hear from in time
/// (WatchdogSec= of the unit). Does nothing where the manager does not ask for it. Event-loop
/// thread only.
class Watchdog : public QObject
{
    Q_OBJECT

public:
    /// @param bus the connection on which the daemon serves its clients.
    explicit Watchdog(const QDBusConnection &bus, QObject *parent = nullptr);

private:
    void askTheBus();

    QDBusConnection m_bus;
    QTimer m_timer;
};

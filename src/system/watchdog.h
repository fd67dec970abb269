#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QTimer>

/// Tells systemd regularly that this process works: that its event loop runs and the bus answers.
/// systemd restarts a process that it does not hear from within WatchdogSec= of the unit. Does
/// nothing without a watchdog timeout. Event-loop thread only.
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

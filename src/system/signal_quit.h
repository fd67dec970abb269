#pragma once

#include <QObject>

/// Calls QCoreApplication::quit() from the event loop on SIGTERM and SIGINT. The signal handler
/// only writes to an event descriptor that the loop watches, so a signal that arrives before the
/// loop runs is not lost. At most one instance at a time; needs the application object. After
/// destruction the signals are ignored. Event-loop thread only.
class SignalQuit : public QObject
{
    Q_OBJECT

public:
    /// Installs the signal handlers.
    explicit SignalQuit(QObject *parent = nullptr);
    ~SignalQuit() override;
};

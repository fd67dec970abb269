#pragma once

#include <QObject>

namespace Orvane {

class InactivityTimerPrivate;

/// Reports when all watched objects have been idle for some time. They need a boolean property
/// "isIdle" and a signal isIdleChanged(). A watched object may be destroyed at any time. Event-loop
/// thread only.
class InactivityTimer : public QObject
{
    Q_OBJECT

public:
    /// @param timeoutMs the idle time in milliseconds; with a negative one timeout() is never
    /// emitted.
    explicit InactivityTimer(int timeoutMs, QObject *parent = nullptr);
    ~InactivityTimer() override;

    /// Adds an object, not owned. Restarts the idle time if all objects are idle.
    void watch(QObject *object);

Q_SIGNALS:
    /// All watched objects have been idle for the idle time, and still are.
    void timeout();

private:
    InactivityTimerPrivate *const d;
};

} // namespace Orvane

#pragma once

#include <QObject>

namespace Orvane {

class InactivityTimerPrivate;

/// Tells when nothing has been going on for a while. Watches objects that have a boolean property
/// "isIdle" and a signal isIdleChanged(); while all of them are idle a single-shot timer runs.
/// A watched object may be destroyed at any time and then no longer counts.
/// Event-loop thread only.
class InactivityTimer : public QObject
{
    Q_OBJECT

public:
    /// @param timeoutMs the idle time in milliseconds; a negative one never elapses.
    explicit InactivityTimer(int timeoutMs, QObject *parent = nullptr);
    ~InactivityTimer() override;

    /// Adds an object, not owned. The idle time starts anew when all are idle.
    void watch(QObject *object);

Q_SIGNALS:
    /// All watched objects have been idle for the idle time, and still are.
    void timeout();

private:
    InactivityTimerPrivate *const d;
};

} // namespace Orvane

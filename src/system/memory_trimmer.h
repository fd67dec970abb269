#pragma once

#include <QObject>
#include <QTimer>

#include <cstddef>

/// Returns free memory to the system after large messages. The C library keeps free memory between
/// blocks that are in use: a client that sends 30 MB of small texts would leave hundreds of
/// megabytes in an idle daemon. Checks once, some time after the process has woken up; costs
/// nothing while it sleeps. Event-loop thread only.
class MemoryTrimmer : public QObject
{
    Q_OBJECT

public:
    /// @param delayMs delay of the check after a wake-up, in milliseconds.
    explicit MemoryTrimmer(int delayMs = 1000, QObject *parent = nullptr);

private:
    void trim();

    QTimer m_timer;
    /// Whether the last wake-up was the timer's own.
    bool m_hasChecked = false;
    /// Bytes in free blocks after the last check.
    std::size_t m_freedAtCheck = 0;
    /// Bytes in free blocks after the last return; their pages have been returned.
    std::size_t m_returned = 0;
};

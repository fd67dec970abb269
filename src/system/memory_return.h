#pragma once

#include <QObject>
#include <QTimer>

#include <cstddef>

/// Gives memory back to the system after it was needed for large messages. The C library keeps what
/// has been freed between blocks that are in use, and a client that sends 30 MB of small texts
/// would leave hundreds of megabytes with an idle daemon. Looks once, a second after the last time
/// that the process was woken up first; costs nothing while it sleeps. Event-loop thread only.
class MemoryReturn : public QObject
{
    Q_OBJECT

public:
    /// @param delayMs how long after a wake-up it looks, in milliseconds.
    explicit MemoryReturn(int delayMs = 1000, QObject *parent = nullptr);

private:
    void look();

    QTimer m_timer;
    /// Whether the wake-up that is told of next was the timer's own.
    bool m_hasLooked = false;
    /// Bytes of freed blocks after the last look.
    std::size_t m_freedAtLook = 0;
    /// Bytes of freed blocks after the last return, none of them with pages.
    std::size_t m_returned = 0;
};

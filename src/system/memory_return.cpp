#include "system/memory_return.h"

#include <QAbstractEventDispatcher>

#include <malloc.h>

#include <algorithm>
#include <utility>

namespace {

// What may be kept for later, in bytes: less than one large message takes.
constexpr std::size_t mostKept = 512 << 10;
// Freed since a look, in bytes: more than the work of an idle process.
constexpr std::size_t muchAtOnce = 64 << 10;

} // namespace

void MemoryReturn::look()
{
    m_hasLooked = true;
    // Freed blocks count here as long as the process keeps their place, also when their pages have
    // been given back: only more of them than the last time is worth the work.
    m_freedAtLook = mallinfo2().fordblks;
    m_returned = std::min(m_returned, m_freedAtLook);
    if (m_freedAtLook < m_returned + mostKept)
        return;
    malloc_trim(0);
    m_freedAtLook = mallinfo2().fordblks;
    m_returned = m_freedAtLook;
}

MemoryReturn::MemoryReturn(int delayMs, QObject *parent)
    : QObject(parent)
{
    // Large blocks go back as soon as they are freed. Without this the C library raises the size
    // from which on it does so with each one that it sees.
    mallopt(M_MMAP_THRESHOLD, 1 << 20);
    m_timer.setSingleShot(true);
    m_timer.setInterval(delayMs);
    connect(&m_timer, &QTimer::timeout, this, &MemoryReturn::look);
    connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::awake, this, [this] {
        // The dispatcher tells of it after the timer's end, too, when nothing else has happened:
        // started again for that, the timer would wake an idle process up for ever.
        const bool isOwnEnd =
            std::exchange(m_hasLooked, false) && mallinfo2().fordblks < m_freedAtLook + muchAtOnce;
        if (!isOwnEnd && !m_timer.isActive())
            m_timer.start();
    });
}

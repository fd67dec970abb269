#include "system/memory_return.h"

#include <QAbstractEventDispatcher>

#include <malloc.h>

#include <algorithm>
#include <utility>

namespace {

// What may be kept for later, in bytes: less than one large message takes.
constexpr std::size_t mostKept = 512 << 10;

} // namespace

void MemoryReturn::look()
{
    m_hasLooked = true;
    // Freed blocks count here as long as the process keeps their place, also when their pages have
    // been given back: only more of them than the last time is worth the work.
    const std::size_t freed = mallinfo2().fordblks;
    m_returned = std::min(m_returned, freed);
    if (freed < m_returned + mostKept)
        return;
    malloc_trim(0);
    m_returned = mallinfo2().fordblks;
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
        const bool isOwnEnd = std::exchange(m_hasLooked, false);
        if (!isOwnEnd && !m_timer.isActive())
            m_timer.start();
    });
}

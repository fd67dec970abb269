#include "system/memory_trimmer.h"

#include <QAbstractEventDispatcher>

#include <malloc.h>

#include <algorithm>
#include <utility>

namespace {

// Free memory that is kept, in bytes: less than a large message takes.
constexpr std::size_t mostKept = 512 << 10;
// Memory freed since the last check that counts as activity, in bytes: more than an idle process
// frees.
constexpr std::size_t muchAtOnce = 64 << 10;

} // namespace

void MemoryTrimmer::trim()
{
    m_hasChecked = true;
    // fordblks also counts free blocks whose pages have been returned already, so it is compared
    // with its value after the last return.
    m_freedAtCheck = mallinfo2().fordblks;
    m_returned = std::min(m_returned, m_freedAtCheck);
    if (m_freedAtCheck < m_returned + mostKept)
        return;
    malloc_trim(0);
    m_freedAtCheck = mallinfo2().fordblks;
    m_returned = m_freedAtCheck;
}

MemoryTrimmer::MemoryTrimmer(int delayMs, QObject *parent)
    : QObject(parent)
{
    // Blocks of this size or larger are returned when they are freed. By default, the C library
    // raises this size with each large block that is freed.
    mallopt(M_MMAP_THRESHOLD, 1 << 20);
    m_timer.setSingleShot(true);
    m_timer.setInterval(delayMs);
    connect(&m_timer, &QTimer::timeout, this, &MemoryTrimmer::trim);
    connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::awake, this, [this] {
        // The dispatcher also wakes up for the timer's own timeout. Restarting the timer for that
        // would wake an idle process up for ever.
        const bool isOwnEnd = std::exchange(m_hasChecked, false)
            && mallinfo2().fordblks < m_freedAtCheck + muchAtOnce;
        if (!isOwnEnd && !m_timer.isActive())
            m_timer.start();
    });
}

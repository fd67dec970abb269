#include "system/memory_return.h"

#include <QAbstractEventDispatcher>

#include <malloc.h>

namespace {

constexpr int delayMs = 1000;
// What may be kept for later: far less than one large message takes.
constexpr std::size_t mostKept = 4 << 20;

void returnMemory()
{
    if (mallinfo2().fordblks > mostKept)
        malloc_trim(0);
}

} // namespace

MemoryReturn::MemoryReturn(QObject *parent)
    : QObject(parent)
{
    // Large blocks go back as soon as they are freed. Without this the C library raises the size
    // from which on it does so with each one that it sees.
    mallopt(M_MMAP_THRESHOLD, 1 << 20);
    m_timer.setSingleShot(true);
    m_timer.setInterval(delayMs);
    connect(&m_timer, &QTimer::timeout, this, returnMemory);
    connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::awake, this, [this] {
        // While the timer runs, its own end included, nothing more is to be done.
        if (!m_timer.isActive())
            m_timer.start();
    });
}

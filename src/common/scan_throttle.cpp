#include "common/scan_throttle.h"

ScanThrottle::ScanThrottle(QObject *parent)
    : QObject(parent)
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &ScanThrottle::emitDue);
}

void ScanThrottle::request()
{
    if (m_timer.isActive())
        return;
    const qint64 elapsed = m_sinceScan.isValid() ? m_sinceScan.elapsed() : longGap;
    // Used even for a delay of 0, so that all requests of one pass of the event loop share a scan.
    m_timer.start(static_cast<int>(qMax<qint64>(0, m_gap - elapsed)));
    m_gap = elapsed >= longGap ? shortGap : longGap;
}

void ScanThrottle::emitDue()
{
    Q_EMIT due();
    m_sinceScan.start();
}

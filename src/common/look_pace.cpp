#include "common/look_pace.h"

LookPace::LookPace(QObject *parent)
    : QObject(parent)
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &LookPace::look);
}

void LookPace::request()
{
    if (m_timer.isActive())
        return;
    const qint64 elapsed = m_sinceLook.isValid() ? m_sinceLook.elapsed() : longGap;
    // Used even for a delay of 0, so that all requests of one pass of the event loop share a scan.
    m_timer.start(static_cast<int>(qMax<qint64>(0, m_gap - elapsed)));
    m_gap = elapsed >= longGap ? shortGap : longGap;
}

void LookPace::look()
{
    Q_EMIT due();
    m_sinceLook.start();
}

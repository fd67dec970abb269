#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

/// Limits the rate of scans after changes: the first change causes a scan at once, then another one
/// soon, because a series of changes has rarely ended by then; while changes continue, scans follow
/// at long intervals. Event-loop thread only.
class ScanThrottle : public QObject
{
    Q_OBJECT

public:
    /// Time from the end of the first scan to the second, and between later ones, in milliseconds.
    static constexpr int shortGap = 50;
    static constexpr int longGap = 560;

    explicit ScanThrottle(QObject *parent = nullptr);
    /// Requests a scan. All requests until it is due share it.
    void request();

Q_SIGNALS:
    /// A scan is due; the receiver scans before it returns. Never emitted inside request().
    void due();

private:
    void emitDue();

    QTimer m_timer;
    /// Time since the end of the last scan; invalid before the first.
    QElapsedTimer m_sinceScan;
    int m_gap = shortGap;
};

#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

/// When to look after changes: at once after the first one, soon once more, because what has begun
/// to change is seldom complete, and while changes go on, at a bounded rate. Main thread only.
class LookPace : public QObject
{
    Q_OBJECT

public:
    /// From the end of the first look to the second, and from then on; in milliseconds.
    static constexpr int shortGap = 50;
    static constexpr int longGap = 400;

    explicit LookPace(QObject *parent = nullptr);
    /// Asks for a look. Requests until it is due are answered by one.
    void request();

Q_SIGNALS:
    /// To be looked now, by the time that the signal returns. Never sent within request().
    void due();

private:
    void look();

    QTimer m_timer;
    /// Since the end of the last look; not valid before the first.
    QElapsedTimer m_sinceLook;
    int m_gap = shortGap;
};

#pragma once

#include <QList>
#include <QObject>
#include <QPointer>
#include <QTimer>

namespace Orvane {

class InactivityTimerPrivate : public QObject
{
    Q_OBJECT

public:
    explicit InactivityTimerPrivate(int timeoutMs);

    [[nodiscard]] bool allIdle() const;

    QTimer timer;
    QList<QPointer<QObject>> objects;

public Q_SLOTS:
    void onIdleChanged();
};

} // namespace Orvane

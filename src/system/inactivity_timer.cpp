#include "system/inactivity_timer.h"
#include "system/inactivity_timer_p.h"

#include <QVariant>

#include <algorithm>

namespace Orvane {

InactivityTimerPrivate::InactivityTimerPrivate(int timeoutMs)
{
    timer.setTimerType(Qt::PreciseTimer);
    timer.setSingleShot(true);
    timer.setInterval(timeoutMs);
}

bool InactivityTimerPrivate::allIdle() const
{
    return std::all_of(objects.cbegin(), objects.cend(), [](const QPointer<QObject> &object) {
        return object.isNull() || object->property("isIdle").toBool();
    });
}

void InactivityTimerPrivate::onIdleChanged()
{
    const bool elapses = timer.interval() >= 0;
    if (elapses && allIdle())
        timer.start();
    else
        timer.stop();
}

InactivityTimer::InactivityTimer(int timeoutMs, QObject *parent)
    : QObject(parent)
    , d(new InactivityTimerPrivate(timeoutMs))
{
    connect(&d->timer, &QTimer::timeout, this, [this] {
        if (d->allIdle())
            Q_EMIT timeout();
    });
}

InactivityTimer::~InactivityTimer() { delete d; }

void InactivityTimer::watch(QObject *object)
{
    d->objects.removeAll(QPointer<QObject>());
    // Connected by name, so that any object with the signal can be watched.
    if (object != nullptr)
        connect(object, SIGNAL(isIdleChanged()), d, SLOT(onIdleChanged()));
    d->objects.append(object);
    d->onIdleChanged();
}

} // namespace Orvane

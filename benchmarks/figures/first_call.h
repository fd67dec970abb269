#pragma once

#include <QDBusMessage>
#include <QString>

namespace Bench {

/// A service that the container's bus starts when it is called: the daemon, or the bare service
/// with the same confinement.
struct Activated
{
    QString unit;
    QDBusMessage firstCall;
};

Activated activatedOrvane();
Activated activatedBare();

/// Stops it and waits until it has ended.
void stopActivated(const Activated &service);
/// Calls the service, which starts it when it does not run.
/// @return milliseconds until the answer; -1 for an error.
double callActivated(const Activated &service);

} // namespace Bench

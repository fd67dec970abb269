#include "system/shutdown.h"

#include "common/DBus/open_call.h"
#include "common/names.h"
#include "system/Core/task_manager.h"
#include "system/DBus/registrations.h"
#include "system/DBus/task_invoker.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDeadlineTimer>
#include <QDebug>
#include <QTimer>

namespace {

// How long to wait until all calls are answered, in milliseconds. When the daemon leaves because it
// is idle, only callers of the next run wait for its end, and they wait 25 s. When it was told to
// leave, the service manager waits.
int timeoutMs(ShutdownReason reason) { return reason == ShutdownReason::Idle ? 10000 : 2000; }

QDBusMessage busCall(const QString &method)
{
    return QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
                                          QStringLiteral("/org/freedesktop/DBus"),
                                          QStringLiteral("org.freedesktop.DBus"), method);
}

// Asks the bus to start the next run. Without a reply, because this run does not wait for it.
void requestNextRun(const QDBusConnection &bus)
{
    QDBusMessage call = busCall(QStringLiteral("StartServiceByName"));
    call << Names::service() << 0U;
    bus.send(call);
}

void answerOpenCalls(int limitMs)
{
    const QDeadlineTimer deadline(limitMs);
    QTimer wakeUp;
    wakeUp.start(limitMs);
    // No nested event loop, because quit() would end that, too.
    QCoreApplication::processEvents();
    while (DBus::OpenCall::count() > 0 && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

} // namespace

void leaveBus(QDBusConnection bus, const DBus::TaskInvoker &taskInvoker, ShutdownReason reason)
{
    if (reason == ShutdownReason::Disconnected) {
        DBus::saveRegistrations(bus, taskInvoker.registrations());
        return;
    }
    // Blocks until the bus has answered. The bus delivers messages in order, so every call that was
    // sent to the name before has been received by then.
    bus.unregisterService(Names::service());
    answerOpenCalls(timeoutMs(reason) / 2);
    if (DBus::OpenCall::count() > 0) {
        // Some may wait for a reload of systemd that takes too long.
        Core::TaskManager::instance()->sendWaiting();
        answerOpenCalls(timeoutMs(reason) / 2);
    }
    if (DBus::OpenCall::count() > 0)
        qWarning() << "Leaving" << DBus::OpenCall::count() << "calls unanswered";
    const bool handedOn = DBus::saveRegistrations(bus, taskInvoker.registrations());
    // A client that registered at the last moment needs a daemon that sends it signals.
    if (handedOn && reason == ShutdownReason::Idle)
        requestNextRun(bus);
    // Answers are sent by another thread. When the bus has answered this call, it has received all
    // of them.
    bus.call(busCall(QStringLiteral("GetId")));
}

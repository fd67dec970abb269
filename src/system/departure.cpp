#include "system/departure.h"

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

// How long callers may keep the process, in milliseconds. Nobody waits for an idle daemon to end
// but callers of the next run, who have 25 s; somebody waits for one that was told to.
int patienceMs(Departure departure) { return departure == Departure::Idle ? 10000 : 2000; }

QDBusMessage busCall(const QString &method)
{
    return QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
                                          QStringLiteral("/org/freedesktop/DBus"),
                                          QStringLiteral("org.freedesktop.DBus"), method);
}

// Has the bus start the next run. By a call without a reply: this run does not live to see it.
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
    // Not an event loop of its own: what ended the last one would end it too.
    QCoreApplication::processEvents();
    while (DBus::OpenCall::count() > 0 && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

} // namespace

void leaveBus(QDBusConnection bus, const DBus::TaskInvoker &taskInvoker, Departure departure)
{
    if (departure == Departure::Disconnected) {
        DBus::keepRegistrations(bus, taskInvoker.registrations());
        return;
    }
    // Blocks until the bus has answered. It hands out messages in order, so every call that was
    // sent to the name before is an event here by then.
    bus.unregisterService(Names::service());
    answerOpenCalls(patienceMs(departure) / 2);
    if (DBus::OpenCall::count() > 0) {
        // They may wait for an answer of systemd that comes too late for them.
        Core::TaskManager::instance()->sendWaiting();
        answerOpenCalls(patienceMs(departure) / 2);
    }
    if (DBus::OpenCall::count() > 0)
        qWarning() << "Leaving" << DBus::OpenCall::count() << "calls unanswered";
    const bool handedOn = DBus::keepRegistrations(bus, taskInvoker.registrations());
    // A client that came at the last moment waits for signals too, so somebody must send them.
    if (handedOn && departure == Departure::Idle)
        requestNextRun(bus);
    // Answers leave through another thread; once the bus answers this it has all of them.
    bus.call(busCall(QStringLiteral("GetId")));
}

// Calls the daemon again and again at the moments when it may be leaving. Fails at the first call
// that is not answered as it should be.
//   persistent-caller EXITS IDLE_MS [sessions]
// Ends when the daemon has left the bus EXITS times. IDLE_MS: the daemon's idle time, in
// milliseconds. With "sessions" a client that has registered must find its session as well, which
// needs a next run that starts when the last one has ended. Uses the system bus
// (DBUS_SYSTEM_BUS_ADDRESS).

#include "support/literals.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QTest>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace {

// The time that the bus gives a service to start.
constexpr int answerLimitMs = 25000;

QString service() { return u"org.zarn.Orvane"_s; }
QString sessionInterface() { return u"org.zarn.Orvane.TaskInvokerSession1"_s; }

QDBusMessage methodCall(const char *path, const char *interface, const char *method,
                        const QVariantList &arguments)
{
    QDBusMessage call =
        QDBusMessage::createMethodCall(service(), QString::fromLatin1(path),
                                       QString::fromLatin1(interface), QString::fromLatin1(method));
    call.setArguments(arguments);
    return call;
}

class PersistentCaller
{
public:
    PersistentCaller(int exits, int idleMs, bool sessions)
        : m_idleMs(idleMs)
        , m_sessions(sessions)
        , m_bus(QDBusConnection::systemBus())
        , m_watcher(service(), m_bus, QDBusServiceWatcher::WatchForUnregistration)
    {
        QObject::connect(&m_watcher, &QDBusServiceWatcher::serviceUnregistered,
                         [this] { ++m_exits; });
        QElapsedTimer timer;
        timer.start();
        for (int round = 0; m_exits < exits; ++round) {
            switch (round % 4) {
            case 0:
                registerAClient();
                break;
            case 1:
                removeAnApplication();
                break;
            default:
                readASetting();
                break;
            }
            pause();
        }
        std::printf("%d exits and %d calls in %lld s, the longest took %lld ms\n", m_exits, m_calls,
                    static_cast<long long>(timer.elapsed() / 1000),
                    static_cast<long long>(m_longestMs));
    }

private:
    // Waits from the last answer until about the moment at which an idle daemon leaves.
    void pause()
    {
        const int spread = std::max(2, m_idleMs / 2);
        QTest::qWait(m_idleMs - spread / 2 + QRandomGenerator::global()->bounded(spread));
    }

    void readASetting()
    {
        expect(m_bus, methodCall("/org/zarn/am", "org.zarn.am.Autostart", "GetEnabled", {100000}),
               u"as"_s);
    }

    void removeAnApplication()
    {
        expect(m_bus,
               methodCall("/org/zarn/Teller/Hooks", "org.zarn.Teller.Hooks", "OnRemove",
                          {u"no.such"_s}),
               QString());
    }

    // Registers a client at such a moment. It must find its session afterwards.
    void registerAClient()
    {
        const QString name = u"client-%1"_s.arg(m_calls);
        {
            const QDBusConnection client =
                QDBusConnection::connectToBus(QDBusConnection::SystemBus, name);
            expect(client,
                   methodCall("/org/zarn/Orvane/TaskInvoker1", "org.zarn.Orvane.TaskInvoker1",
                              "RegisterInvoker", {u"Sync"_s}),
                   u"oa{sv}"_s);
            for (int i = 0; m_sessions && i < 2; ++i) {
                expect(client,
                       methodCall("/org/zarn/Orvane/TaskInvokerSessions/Sync",
                                  "org.freedesktop.DBus.Properties", "Get",
                                  {sessionInterface(), u"ActiveTasks"_s}),
                       u"v"_s);
                pause();
            }
        }
        QDBusConnection::disconnectFromBus(name);
    }

    void expect(const QDBusConnection &bus, const QDBusMessage &call, const QString &signature)
    {
        QElapsedTimer timer;
        timer.start();
        const QDBusMessage reply = bus.call(call, QDBus::Block, answerLimitMs);
        m_longestMs = std::max(m_longestMs, timer.elapsed());
        ++m_calls;
        if (reply.type() == QDBusMessage::ReplyMessage && reply.signature() == signature)
            return;
        std::fprintf(stderr, "call %d, %s, after %d exits, was answered with %s: %s\n", m_calls,
                     qPrintable(call.member()), m_exits, qPrintable(reply.errorName()),
                     qPrintable(reply.errorMessage()));
        std::exit(EXIT_FAILURE);
    }

    const int m_idleMs;
    const bool m_sessions;
    QDBusConnection m_bus;
    QDBusServiceWatcher m_watcher;
    int m_exits = 0;
    int m_calls = 0;
    qint64 m_longestMs = 0;
};

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const int exits = arguments.value(1).toInt();
    const int idleMs = arguments.value(2).toInt();
    if (exits <= 0 || idleMs <= 0) {
        std::fputs("usage: persistent-caller EXITS IDLE_MS [sessions]\n", stderr);
        return EXIT_FAILURE;
    }
    const bool sessions = arguments.value(3) == QLatin1String("sessions");
    const PersistentCaller caller(exits, idleMs, sessions);
    return EXIT_SUCCESS;
}

// Sends random well-formed messages to every object of the daemon, whose peers answer at random,
// and checks three things: the daemon keeps running, each call gets exactly one answer, and the
// daemon leaves with status 0 when nobody needs it any more.
//   bus-fuzzer [SEED [MESSAGES]]    without a seed, one of the clock

#include "fuzz/bus/random_client.h"
#include "fuzz/bus/random_peer.h"
#include "fuzz/support/property.h"
#include "support/death_bound_process.h"
#include "support/private_bus.h"
#include "support/temp_root.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>

#include <cstdio>

namespace {

constexpr int timeoutMs = 60000;
constexpr int mostUnanswered = 64;

// Without the policy the bus would drop a second answer to a call. The limit is like that of
// dbus-broker; dbus-daemon disconnects who sends more than 16 descriptors in a message.
const char *const busConfiguration =
    "<limit name=\"max_message_unix_fds\">1000</limit>"
    "<policy context=\"default\"><allow send_requested_reply=\"false\" "
    "send_type=\"method_return\"/>"
    "<allow send_requested_reply=\"false\" send_type=\"error\"/>"
    "<allow receive_requested_reply=\"false\" receive_type=\"method_return\"/>"
    "<allow receive_requested_reply=\"false\" receive_type=\"error\"/></policy>";

/// The daemon, its peers and its clients on a bus.
class Run
{
public:
    explicit Run(quint64 seed);
    void start();
    void sendMessages(int count);
    void leave();

private:
    void work();
    template <typename Condition>
    void workUntil(const Condition &condition, const char *text);
    void fail(const char *text);

    // The client's messages depend on the seed alone. What the peers send also depends on the order
    // in which they are called.
    Random m_random;
    Random m_randomOfPeers;
    PrivateBus m_bus{QString::fromLatin1(busConfiguration)};
    TempRoot m_root;
    DeathBoundProcess m_daemon;
    std::vector<std::unique_ptr<RandomPeer>> m_peers;
    std::unique_ptr<RandomClient> m_anchor;
    std::unique_ptr<RandomClient> m_client;
};

Run::Run(quint64 seed)
    : m_random(seed)
    , m_randomOfPeers(seed)
{
    FUZZ_PROPERTY(m_bus.start(), "a bus starts");
    m_root.serveType(QStringLiteral("Sync"));
    m_root.writeApplication(QStringLiteral("Notes"),
                            "[X-Task sync]\nType=Sync\nExec=/bin/true -v\n");
}

void Run::start()
{
    const QByteArray address = m_bus.address().toUtf8();
    for (const char *name :
         {"org.freedesktop.systemd1", "org.zarn.Orvane.User", "org.sailfishos.usermanager"})
        m_peers.push_back(std::make_unique<RandomPeer>(address, name, m_randomOfPeers));
    m_anchor = std::make_unique<RandomClient>(address, m_random);
    m_client = std::make_unique<RandomClient>(address, m_random);
    m_daemon.setEnvironment(
        QProcess::systemEnvironment() + m_root.environment()
        + QStringList{QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS=") + m_bus.address(),
                      QStringLiteral("ORVANE_COMPONENT_TESTS=1"),
                      QStringLiteral("ORVANE_SKIP_AUTHENTICATION=1"),
                      QStringLiteral("ORVANE_DAEMON_TIMEOUT=2000")});
    m_daemon.setProcessChannelMode(QProcess::MergedChannels);
    m_daemon.setStandardOutputFile(m_root.path(QStringLiteral("/log")));
    m_daemon.start(QStringLiteral(ORVANE_BINARY), QStringList());
    FUZZ_PROPERTY(m_daemon.waitForStarted(), "the daemon starts");
    workUntil([this] { return m_anchor->isNameOwned("org.zarn.Orvane"); }, "the daemon serves");
    m_anchor->registerFor("Sync");
    workUntil([this] { return m_anchor->unanswered() == 0; }, "a client can register");
}

void Run::work()
{
    for (const auto &peer : m_peers) {
        peer->work();
        peer->speak();
    }
    m_anchor->work();
    m_client->work();
}

template <typename Condition>
void Run::workUntil(const Condition &condition, const char *text)
{
    QElapsedTimer waited;
    waited.start();
    while (!condition()) {
        work();
        if (waited.hasExpired(timeoutMs))
            fail(text);
        if (m_daemon.waitForFinished(0) && !condition())
            fail("the daemon stays");
        QThread::usleep(200);
    }
}

void Run::fail(const char *text)
{
    m_daemon.kill();
    m_daemon.waitForFinished();
    const QByteArray log = m_root.read(QStringLiteral("/log"));
    std::fprintf(stderr, "%s\nunanswered:\n%s", log.right(20000).constData(),
                 m_client->unansweredCalls().constData());
    FUZZ_PROPERTY(false, text);
}

void Run::sendMessages(int count)
{
    while (m_client->messages() < count) {
        m_client->speak();
        workUntil([this] { return m_client->unanswered() < mostUnanswered; }, "calls are answered");
    }
    workUntil([this] { return m_client->unanswered() == 0; }, "every call is answered");
    // Answers arrive in order, so that a second answer to an earlier call has arrived by then.
    m_client->registerFor("Sync");
    workUntil([this] { return m_client->unanswered() == 0; }, "the daemon still serves");
    if (m_client->answeredTwice() != 0)
        fail("a call is answered once");
}

void Run::leave()
{
    int answered = 0;
    for (const auto &peer : m_peers)
        answered += peer->answered();
    std::printf("%d messages, %d answered with an error, %d answers of peers\n",
                m_client->messages(), m_client->failures(), answered);
    const QByteArray address = m_bus.address().toUtf8();
    m_anchor = std::make_unique<RandomClient>(address, m_random);
    m_client = std::make_unique<RandomClient>(address, m_random);
    workUntil(
        [this] { return m_daemon.waitForFinished(0) || m_daemon.state() == QProcess::NotRunning; },
        "the daemon leaves");
    if (m_daemon.exitStatus() != QProcess::NormalExit || m_daemon.exitCode() != 0)
        fail("the daemon leaves in peace");
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const quint64 seed = arguments.value(1, QString::number(std::random_device()())).toULongLong();
    const int messages = arguments.value(2, QStringLiteral("1000")).toInt();
    std::printf("seed %llu\n", static_cast<unsigned long long>(seed));
    std::fflush(stdout);
    Run run(seed);
    run.start();
    run.sendMessages(messages);
    run.leave();
    return 0;
}

// Only a daemon that works reports to the service manager. To show that a daemon is silent, a test
// runs another one that reports in the same period.

#include "support/fixture.h"
#include "support/literals.h"

#include <QSocketNotifier>
#include <QTest>

#include <csignal>
#include <cstddef>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int periodMs = 50;

/// The service manager's end of the notification socket.
class Manager : public QObject
{
public:
    enum class Name { Path, InNoFileSystem };

    explicit Manager(Name name = Name::Path)
        : m_name((name == Name::Path ? QString() : u"@"_s) + m_directory.filePath(u"notify"_s))
        , m_socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        const QByteArray bytes = QFile::encodeName(m_name);
        std::copy(bytes.cbegin(), bytes.cend(), address.sun_path);
        if (name == Name::InNoFileSystem)
            address.sun_path[0] = '\0';
        const auto size = offsetof(sockaddr_un, sun_path) + static_cast<std::size_t>(bytes.size());
        isUp =
            ::bind(m_socket, reinterpret_cast<sockaddr *>(&address), static_cast<socklen_t>(size))
            == 0;
    }
    ~Manager() override { ::close(m_socket); }
    Q_DISABLE_COPY(Manager)

    /// The environment that makes a process report here.
    [[nodiscard]] QStringList environment() const
    {
        return {u"NOTIFY_SOCKET="_s + m_name, u"WATCHDOG_USEC=%1"_s.arg(3 * periodMs * 1000)};
    }
    /// How often WATCHDOG=1 has arrived since the last call.
    int heard()
    {
        int count = 0;
        char text[256];
        for (;;) {
            const ssize_t size = ::recv(m_socket, text, sizeof text, 0);
            if (size < 0)
                return count;
            if (QByteArray(text, static_cast<int>(size)).split('\n').contains("WATCHDOG=1"))
                ++count;
        }
    }

    /// Waits until this number of reports has arrived, counted from now on.
    [[nodiscard]] bool waitForReports(int count)
    {
        (void)heard();
        int reports = 0;
        return Fixture::waitUntil([&] { return (reports += heard()) >= count; });
    }

    bool isUp = false;

private:
    QTemporaryDir m_directory;
    const QString m_name;
    int m_socket;
};

/// A daemon that reports. It is used as a clock.
class ReportingDaemon
{
public:
    /// Starts the daemon and waits for two reports, between which a whole period passes.
    [[nodiscard]] bool passAPeriod()
    {
        return m_fixture.start(m_manager.environment()) && passPeriods(2);
    }
    [[nodiscard]] bool passPeriods(int count) { return m_manager.waitForReports(count); }

private:
    Manager m_manager;
    Fixture m_fixture;
};

// Whether the daemon answers several calls, one after the other. In that time it handles timers
// that were due, gets the bus's answers to its calls and acts on them.
bool isAnsweredSeveralTimes(const Fixture &fixture)
{
    for (int call = 0; call < 4; ++call) {
        if (fixture.registerInvoker(u"Sync"_s).type() != QDBusMessage::ReplyMessage)
            return false;
    }
    return true;
}

} // namespace

class TestWatchdog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void reportsAgainAndAgain();
    void reportsOverANameThatIsInNoFileSystem();
    void isSilentWhileTheLoopHangs();
    void isSilentWhileTheBusDoesNotAnswer();
    void isSilentWhenNobodyAsksForIt();
    void isSilentWhenAnotherProcessIsAsked();
};

void TestWatchdog::reportsAgainAndAgain()
{
    Manager manager;
    QVERIFY(manager.isUp);
    Fixture fixture;
    QVERIFY(fixture.start(manager.environment()));
    QVERIFY(manager.waitForReports(5));
}

void TestWatchdog::reportsOverANameThatIsInNoFileSystem()
{
    Manager manager(Manager::Name::InNoFileSystem);
    QVERIFY(manager.isUp);
    Fixture fixture;
    QVERIFY(fixture.start(manager.environment()));
    QVERIFY(fixture.waitUntil([&] { return manager.heard() > 0; }));
}

void TestWatchdog::isSilentWhileTheLoopHangs()
{
    Manager manager;
    Fixture fixture;
    QVERIFY(fixture.start(manager.environment()));
    QVERIFY(manager.waitForReports(1));
    // Only the thread of the event loop hangs; the others go on.
    const auto loop = static_cast<pid_t>(fixture.daemon.processId());
    QCOMPARE(::ptrace(PTRACE_SEIZE, loop, nullptr, nullptr), 0L);
    QCOMPARE(::ptrace(PTRACE_INTERRUPT, loop, nullptr, nullptr), 0L);
    QCOMPARE(::waitpid(loop, nullptr, __WALL), loop);
    (void)manager.heard();
    ReportingDaemon other;
    QVERIFY(other.passAPeriod());
    QCOMPARE(manager.heard(), 0);
}

void TestWatchdog::isSilentWhileTheBusDoesNotAnswer()
{
    Manager manager;
    Fixture fixture;
    QVERIFY(fixture.start(manager.environment()));
    QVERIFY(manager.waitForReports(1));
    ReportingDaemon other;
    QVERIFY(other.passAPeriod());
    fixture.bus.sendSignal(SIGSTOP);
    (void)manager.heard();
    QVERIFY(other.passPeriods(8));
    // The bus may have answered twice before it stopped.
    QVERIFY(manager.heard() <= 2);
    fixture.bus.sendSignal(SIGCONT);
    QVERIFY(manager.waitForReports(1));
}

void TestWatchdog::isSilentWhenNobodyAsksForIt()
{
    Manager manager;
    Fixture fixture;
    fixture.root.serveType(u"Sync"_s);
    QVERIFY(fixture.start({manager.environment().constFirst()}));
    QVERIFY(isAnsweredSeveralTimes(fixture));
    QCOMPARE(manager.heard(), 0);
}

void TestWatchdog::isSilentWhenAnotherProcessIsAsked()
{
    Manager manager;
    Fixture fixture;
    fixture.root.serveType(u"Sync"_s);
    QVERIFY(fixture.start(manager.environment() + QStringList{u"WATCHDOG_PID=1"_s}));
    ReportingDaemon other;
    QVERIFY(other.passAPeriod());
    QVERIFY(isAnsweredSeveralTimes(fixture));
    QCOMPARE(manager.heard(), 0);
}

QTEST_GUILESS_MAIN(TestWatchdog)
#include "tst_watchdog.moc"

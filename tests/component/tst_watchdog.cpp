// The service manager hears from a daemon that works, and from no other.

#include "support/fixture.h"

#include <QSocketNotifier>
#include <QTest>

#include <csignal>
#include <cstddef>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr int periodMs = 100;

/// The service manager's end of the notification socket.
class Manager : public QObject
{
public:
    enum class Name { Path, InNoFileSystem };

    explicit Manager(Name name = Name::Path)
        : m_name((name == Name::Path ? QString() : QStringLiteral("@"))
                 + m_directory.filePath(QStringLiteral("notify")))
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

    /// What makes a process report here.
    [[nodiscard]] QStringList environment() const
    {
        return {QStringLiteral("NOTIFY_SOCKET=") + m_name,
                QStringLiteral("WATCHDOG_USEC=%1").arg(3 * periodMs * 1000)};
    }
    /// How often it has heard WATCHDOG=1 since the last look.
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

    bool isUp = false;

private:
    QTemporaryDir m_directory;
    const QString m_name;
    int m_socket;
};

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
    int heard = 0;
    QVERIFY(fixture.waitUntil([&] { return (heard += manager.heard()) >= 5; }));
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
    QVERIFY(fixture.waitUntil([&] { return manager.heard() > 0; }));
    // The thread of the event loop alone: the others go on.
    const auto loop = static_cast<pid_t>(fixture.daemon.processId());
    QCOMPARE(::ptrace(PTRACE_SEIZE, loop, nullptr, nullptr), 0L);
    QCOMPARE(::ptrace(PTRACE_INTERRUPT, loop, nullptr, nullptr), 0L);
    // One may be on its way.
    (void)QTest::qWaitFor([&] { return manager.heard() > 0; }, 2 * periodMs);
    QVERIFY(!QTest::qWaitFor([&] { return manager.heard() > 0; }, 10 * periodMs));
}

void TestWatchdog::isSilentWhileTheBusDoesNotAnswer()
{
    Manager manager;
    Fixture fixture;
    QVERIFY(fixture.start(manager.environment()));
    QVERIFY(fixture.waitUntil([&] { return manager.heard() > 0; }));
    fixture.bus.sendSignal(SIGSTOP);
    // One answer may be on its way.
    (void)QTest::qWaitFor([&] { return manager.heard() > 0; }, 2 * periodMs);
    QVERIFY(!QTest::qWaitFor([&] { return manager.heard() > 0; }, 5 * periodMs));
    fixture.bus.sendSignal(SIGCONT);
    QVERIFY(fixture.waitUntil([&] { return manager.heard() > 0; }));
}

void TestWatchdog::isSilentWhenNobodyAsksForIt()
{
    Manager manager;
    Fixture fixture;
    QVERIFY(fixture.start({manager.environment().constFirst()}));
    QVERIFY(!QTest::qWaitFor([&] { return manager.heard() > 0; }, 5 * periodMs));
}

void TestWatchdog::isSilentWhenAnotherProcessIsAsked()
{
    Manager manager;
    Fixture fixture;
    QVERIFY(fixture.start(manager.environment() + QStringList{QStringLiteral("WATCHDOG_PID=1")}));
    QVERIFY(!QTest::qWaitFor([&] { return manager.heard() > 0; }, 5 * periodMs));
}

QTEST_GUILESS_MAIN(TestWatchdog)
#include "tst_watchdog.moc"

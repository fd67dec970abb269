#include "chaos/campaign.h"
#include "chaos/scene.h"
#include "client/calls.h"

#include <QDBusArgument>
#include <QDBusPendingCallWatcher>
#include <QDir>
#include <QFile>
#include <QTest>

#include <cstdio>
#include <memory>
#include <vector>

namespace Chaos {

namespace {

constexpr int allSteps = 100000;
constexpr int sampleSteps = 3000;
// Until everything that is made once has been made.
constexpr int warmUpShare = 5;
constexpr int mostOpenCalls = 24;
constexpr int applications = 5;
constexpr int visitors = 6;
// What the allocator keeps differs by a few pages from run to run.
constexpr int memoryToleranceKb = 2048;

/// What a run of the daemon holds.
struct Holdings
{
    int memoryKb = 0;
    int descriptors = 0;
    int matchRules = 0;
};

QStringList differences(const Holdings &before, const Holdings &after)
{
    QStringList wrong;
    if (after.memoryKb > before.memoryKb + memoryToleranceKb)
        wrong.append(
            QStringLiteral("memory: %1 kB, then %2").arg(before.memoryKb).arg(after.memoryKb));
    if (after.descriptors != before.descriptors)
        wrong.append(QStringLiteral("descriptors: %1, then %2")
                         .arg(before.descriptors)
                         .arg(after.descriptors));
    if (after.matchRules != before.matchRules)
        wrong.append(QStringLiteral("match rules: %1, then %2")
                         .arg(before.matchRules)
                         .arg(after.matchRules));
    return wrong;
}

/// A client and the watchers of its open calls: who leaves is answered nothing any more.
struct Visitor
{
    QDBusConnection connection;
    std::unique_ptr<QObject> watchers = std::make_unique<QObject>();
};

class Soak
{
public:
    explicit Soak(Campaign &campaign)
        : m_random(campaign.random)
    {
        m_scene.renew();
        for (int number = 0; number < applications; ++number)
            declare(number);
        m_userService = std::make_unique<FakeUserService>(m_scene.fixture.connect());
        m_isUp = m_scene.startDaemon();
        for (int number = 0; number < visitors; ++number)
            m_visitors.push_back({m_scene.fixture.connect()});
    }

    /// @return what did not hold.
    QStringList run(int steps)
    {
        if (!m_isUp)
            return {QStringLiteral("the daemon does not start")};
        const int warmUp = steps / warmUpShare;
        if (!walk(warmUp))
            return {QStringLiteral("calls are not answered")};
        const Holdings before = holdings();
        if (!walk(steps - warmUp))
            return {QStringLiteral("calls are not answered")};
        const Holdings after = holdings();
        std::fprintf(stderr, "soak: %d kB, %d descriptors, %d match rules; then %d, %d, %d\n",
                     before.memoryKb, before.descriptors, before.matchRules, after.memoryKb,
                     after.descriptors, after.matchRules);
        return differences(before, after);
    }

private:
    int number(int below) { return int(m_random() % uint(below)); }
    QString application() { return QStringLiteral("com.example.App%1").arg(number(applications)); }
    QString task() { return application() + QStringLiteral(".task_sync"); }

    void declare(int number)
    {
        m_scene.fixture.root.writeApplication(QStringLiteral("App%1").arg(number),
                                              "[X-Task sync]\nType=Sync\nExec=/opt/w\n# "
                                                  + QByteArray::number(qulonglong(m_random()))
                                                  + '\n');
    }

    // So many steps, then until every call is answered.
    bool walk(int steps)
    {
        for (int step = 0; step < steps; ++step) {
            if (!Fixture::waitUntil([this] { return m_open < mostOpenCalls; }))
                return false;
            takeStep();
        }
        return Fixture::waitUntil([this] { return m_open == 0; });
    }

    void takeStep()
    {
        const int kind = number(100);
        if (kind < 8)
            changeSomething(kind);
        else if (kind < 12)
            replaceVisitor();
        else
            ask(call(kind));
        // They are recorded for others.
        if (m_scene.fixture.systemd->calls.size() > 1000)
            m_scene.fixture.systemd->calls.clear();
        if (m_userService->calls.size() > 1000 && m_open == 0)
            m_userService->calls.clear();
    }

    void changeSomething(int kind)
    {
        if (kind == 0) {
            declare(number(applications));
            return;
        }
        m_scene.fixture.systemd->emitChange(
            Fixture::unitPath(task()),
            {{QStringLiteral("ActiveState"),
              number(2) == 0 ? QStringLiteral("active") : QStringLiteral("inactive")}});
    }

    // Leaves with its calls unanswered.
    void replaceVisitor()
    {
        Visitor &visitor = anyVisitor();
        m_open -= visitor.watchers->children().size();
        visitor.watchers = std::make_unique<QObject>();
        Fixture::drop(visitor.connection);
        visitor.connection = m_scene.fixture.connect();
    }
    Visitor &anyVisitor() { return m_visitors[size_t(number(visitors))]; }

    QDBusMessage call(int kind)
    {
        QVariantMap hints{{QStringLiteral("User"), QStringLiteral("appuser")}};
        if (kind < 20) {
            if (kind == 19)
                hints.insert(QStringLiteral("DBusService"), QStringLiteral("com.example.Own"));
            return Fixture::startCall(task(), hints);
        }
        if (kind < 28)
            return Client::stopCall(Fixture::sessionPath(), task());
        if (kind < 42)
            return Client::setEnabledCall(number(6) - 1, application(), number(2) == 0);
        if (kind < 56)
            return Client::getEnabledCall(number(6) - 1);
        if (kind < 66)
            return Client::registerInvokerCall(number(4) == 0 ? QStringLiteral("Foreign")
                                                              : QStringLiteral("Sync"));
        if (kind < 78)
            return Client::sessionPropertyCall(Fixture::sessionPath(),
                                               number(2) == 0 ? QStringLiteral("ActiveTasks")
                                                              : QStringLiteral("AvailableTasks"));
        if (kind < 80)
            return Client::onRemoveCall(application());
        if (kind < 90)
            return Fixture::methodCall(QStringLiteral("/org/zarn/Orvane/Control1"),
                                       QStringLiteral("org.zarn.Orvane.Control1"),
                                       QStringLiteral("Echo"), {number(1000)});
        return Fixture::methodCall(
            QStringLiteral("/org/zarn/am"), QStringLiteral("org.zarn.am.Autostart"),
            number(2) == 0 ? QStringLiteral("SetEnabled") : QStringLiteral("NoSuchMethod"),
            {QStringLiteral("wrong"), number(9)});
    }

    void ask(const QDBusMessage &message)
    {
        const Visitor &visitor = anyVisitor();
        if (number(10) == 0) {
            visitor.connection.send(message);
            return;
        }
        ++m_open;
        auto *watcher = new QDBusPendingCallWatcher(
            visitor.connection.asyncCall(message, Fixture::timeoutMs), visitor.watchers.get());
        QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [this, watcher] {
            --m_open;
            watcher->setParent(nullptr);
            watcher->deleteLater();
        });
    }

    // With every visitor and every task gone.
    Holdings holdings()
    {
        for (Visitor &visitor : m_visitors)
            Fixture::drop(visitor.connection);
        for (int number = 0; number < applications; ++number)
            (void)m_scene.fixture.call(Client::stopCall(
                Fixture::sessionPath(), QStringLiteral("com.example.App%1.task_sync").arg(number)));
        Holdings holdings;
        // What goes when the visitors have gone is gone when two looks are the same.
        (void)Fixture::waitUntil([&] {
            const Holdings last = holdings;
            holdings = look();
            return last.descriptors == holdings.descriptors
                && last.matchRules == holdings.matchRules && last.memoryKb == holdings.memoryKb;
        });
        for (Visitor &visitor : m_visitors)
            visitor.connection = m_scene.fixture.connect();
        return holdings;
    }

    Holdings look()
    {
        QTest::qWait(500);
        const QString process = QStringLiteral("/proc/%1/").arg(m_scene.fixture.daemon.processId());
        QFile status(process + QStringLiteral("status"));
        const QByteArray text =
            status.open(QIODevice::ReadOnly) ? status.readAll() : QByteArray("RssAnon: 0 kB");
        const QByteArray anonymous = text.mid(text.indexOf("RssAnon:") + 8).simplified();
        QDBusMessage question = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
            QStringLiteral("org.freedesktop.DBus.Debug.Stats"),
            QStringLiteral("GetConnectionStats"));
        question << QStringLiteral("org.zarn.Orvane");
        const QVariantMap stats =
            qdbus_cast<QVariantMap>(m_scene.fixture.call(question).arguments().value(0));
        const QStringList open =
            QDir(process + QStringLiteral("fd"))
                .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
        return {anonymous.left(anonymous.indexOf(' ')).toInt(), int(open.size()),
                stats.value(QStringLiteral("MatchRules"), -1).toInt()};
    }

    std::mt19937 &m_random;
    Scene m_scene;
    std::unique_ptr<FakeUserService> m_userService;
    std::vector<Visitor> m_visitors;
    int m_open = 0;
    bool m_isUp = false;
};

} // namespace

void runSoak(Campaign &campaign)
{
    // One process of its own for all of them.
    if (!campaign.does(0, QStringLiteral("soak")))
        return;
    const int steps = campaign.isSample ? sampleSteps : allSteps;
    const QStringList broken = Soak(campaign).run(steps);
    campaign.tally.count(QStringLiteral("soak"), QStringLiteral("operations by chance"), true,
                         broken, QStringLiteral("scripts/chaos --seed %1 soak").arg(campaign.seed),
                         steps);
}

} // namespace Chaos

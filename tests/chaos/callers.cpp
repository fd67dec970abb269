#include "chaos/callers.h"
#include "support/literals.h"

#include <QDBusMessage>
#include <QTest>

#include <algorithm>

namespace Chaos {

namespace {

// Longer than the daemon itself waits for any of its peers.
constexpr int answerWithinMs = 150000;

enum class Author { Daemon, Bus, Nobody };

// An error that the bus library makes up has no sender.
Author authorOf(const QDBusMessage &answer)
{
    if (answer.service().isEmpty())
        return Author::Nobody;
    return answer.service() == QLatin1String("org.freedesktop.DBus") ? Author::Bus : Author::Daemon;
}

bool isFull(const QDBusMessage &answer)
{
    return answer.errorName() == QLatin1String("org.freedesktop.DBus.Error.LimitsExceeded");
}

} // namespace

Callers::Callers(Scene &scene, std::mt19937 &random)
    : m_scene(scene)
    , m_random(random)
{
}

Callers::~Callers() { dropAll(); }

void Callers::add(int count)
{
    for (int number = 0; number < count; ++number)
        m_clients.push_back({m_scene.fixture.connect(), {}});
}

void Callers::ask(const QDBusMessage &call)
{
    Client &client = m_clients[m_random() % m_clients.size()];
    client.calls.push_back(client.connection.asyncCall(call, answerWithinMs));
    ++m_calls;
}

void Callers::drop(Client &client)
{
    client.calls.clear();
    Fixture::drop(client.connection);
}

void Callers::dropOne()
{
    const auto client = m_clients.begin() + std::ptrdiff_t(m_random() % m_clients.size());
    drop(*client);
    m_clients.erase(client);
}

void Callers::dropAll()
{
    for (Client &client : m_clients)
        drop(client);
    m_clients.clear();
}

int Callers::open() const
{
    int open = 0;
    for (const Client &client : m_clients)
        open += int(std::count_if(client.calls.cbegin(), client.calls.cend(),
                                  [](const QDBusPendingCall &call) { return !call.isFinished(); }));
    return open;
}

QStringList Callers::faults(Others others)
{
    if (!QTest::qWaitFor([this] { return open() == 0; }, answerWithinMs))
        return {u"%1 calls have no answer"_s.arg(open())};
    // What the observer is answered is behind everything that others were answered.
    const QString observer = m_scene.observer.baseService();
    const int before = m_scene.answers.answersTo(observer);
    if (m_scene.isAlive())
        (void)Fixture::waitUntil([&] { return m_scene.answers.answersTo(observer) > before; });
    QStringList wrong;
    for (const Client &client : m_clients)
        wrong += faultsOf(client, others);
    return wrong;
}

QStringList Callers::faultsOf(const Client &client, Others others)
{
    QStringList wrong;
    int ofTheDaemon = 0;
    for (const QDBusPendingCall &call : client.calls) {
        const QDBusMessage answer = call.reply();
        const Author author = authorOf(answer);
        ofTheDaemon += author == Author::Daemon ? 1 : 0;
        const bool mayBe = author == Author::Daemon || others == Others::Anything
            || (author == Author::Bus && isFull(answer));
        if (!mayBe)
            wrong.append(u"a caller is answered %1 by %2: %3"_s.arg(
                answer.errorName(), author == Author::Bus ? u"the bus"_s : u"nobody"_s,
                answer.errorMessage()));
    }
    const QString name = client.connection.baseService();
    (void)Fixture::waitUntil([&] { return m_scene.answers.answersTo(name) >= ofTheDaemon; });
    const int sent = m_scene.answers.answersTo(name);
    if (sent != ofTheDaemon)
        wrong.append(u"%1 answers were sent for %2 calls"_s.arg(sent).arg(ofTheDaemon));
    return wrong;
}

} // namespace Chaos

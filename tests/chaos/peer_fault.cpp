#include "chaos/bad_peer.h"

#include <QTimer>

#include <utility>

namespace Chaos {

namespace {

// Short, so that there can be many attempts.
constexpr int longestDelayMs = 1500;
// The slowest reload that is known of took this long.
constexpr int longestKnownDelayMs = 11000;
constexpr int mostCallsUntilItVanishes = 12;

} // namespace

PeerFault::PeerFault(BadPeer &peer, Kind kind, std::mt19937 &random)
    : m_peer(peer)
    , m_kind(kind)
    , m_random(random)
{
}

PeerFault::~PeerFault() { m_peer.fake().taken = nullptr; }

void PeerFault::begin()
{
    m_timers = std::make_unique<QObject>();
    m_callsUntilItVanishes = 1 + int(m_random() % mostCallsUntilItVanishes);
    takeAll();
}

void PeerFault::takeAll()
{
    m_peer.fake().taken = [this](const QDBusMessage &call) { take(call); };
}

void PeerFault::take(const QDBusMessage &call)
{
    ++m_calls;
    switch (m_kind) {
    case Hung:
        m_kept.push_back(call);
        break;
    case Slow:
    case VerySlow: {
        const int longest = m_kind == Slow ? longestDelayMs : longestKnownDelayMs;
        FakePeer *const fake = &m_peer.fake();
        QTimer::singleShot(int(m_random() % uint(longest)), fake,
                           [fake, call] { fake->serve(call); });
        break;
    }
    case Lying:
        m_peer.lie(call);
        break;
    case Vanishing:
        m_kept.push_back(call);
        if (--m_callsUntilItVanishes == 0)
            // Not while it handles the call.
            QTimer::singleShot(0, m_timers.get(), [this] { vanish(); });
        break;
    }
}

// Half of them leave the bus, so that it answers for them; the others answer when somebody else has
// the name already.
void PeerFault::vanish()
{
    std::unique_ptr<FakePeer> predecessor = m_peer.replace();
    predecessor->taken = nullptr;
    if (m_random() % 2 == 0)
        predecessor->leaveTheBus();
    else
        for (const QDBusMessage &call : std::exchange(m_kept, {}))
            predecessor->serve(call);
    m_kept.clear();
    m_predecessors.push_back(std::move(predecessor));
}

void PeerFault::end()
{
    m_peer.fake().taken = nullptr;
    m_timers.reset();
    if (m_kind == Vanishing && m_predecessors.empty())
        vanish();
    // It is asked anew when it is another one.
    if (m_kind == Lying)
        m_predecessors.push_back(m_peer.replace());
    for (const QDBusMessage &call : std::exchange(m_kept, {}))
        m_peer.fake().serve(call);
}

} // namespace Chaos

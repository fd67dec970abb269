#pragma once

#include "chaos/scene.h"
#include "fakes/fake_peer.h"

#include <QDBusMessage>

#include <memory>
#include <random>
#include <vector>

namespace Chaos {

/// One of the daemon's peers, with what can be wrong about it.
class BadPeer
{
public:
    BadPeer() = default;
    virtual ~BadPeer() = default;
    Q_DISABLE_COPY(BadPeer)

    /// Who has the peer's name now.
    [[nodiscard]] virtual FakePeer &fake() = 0;
    /// Has another process take the name.
    /// @return who had it before, still on the bus.
    virtual std::unique_ptr<FakePeer> replace() = 0;
    /// Answers a call wrongly, and perhaps sends signals that are not true.
    virtual void lie(const QDBusMessage &call) = 0;
};

/// Each has to be destroyed before the scene.
[[nodiscard]] std::unique_ptr<BadPeer> badSystemd(Scene &scene, std::mt19937 &random);
[[nodiscard]] std::unique_ptr<BadPeer> badUserService(Scene &scene, std::mt19937 &random);
[[nodiscard]] std::unique_ptr<BadPeer> badUserManager(Scene &scene, std::mt19937 &random);

/// What a peer does wrong from begin() until end().
class PeerFault
{
public:
    enum Kind {
        /// Answers nothing, and everything when the fault ends.
        Hung,
        /// Answers each call after a while.
        Slow,
        /// Slower than any machine that is known of.
        VerySlow,
        Lying,
        /// Loses its name to another process in the middle of its calls.
        Vanishing,
    };

    PeerFault(BadPeer &peer, Kind kind, std::mt19937 &random);
    ~PeerFault();
    Q_DISABLE_COPY(PeerFault)

    void begin();
    void end();
    /// How many calls came while it lasted.
    [[nodiscard]] int calls() const { return m_calls; }

private:
    void takeAll();
    void take(const QDBusMessage &call);
    void vanish();

    BadPeer &m_peer;
    const Kind m_kind;
    std::mt19937 &m_random;
    /// Ends with the fault, and with it every timer that calls back.
    std::unique_ptr<QObject> m_timers;
    std::vector<QDBusMessage> m_kept;
    std::vector<std::unique_ptr<FakePeer>> m_predecessors;
    int m_calls = 0;
    int m_callsUntilItVanishes = 0;
};

} // namespace Chaos

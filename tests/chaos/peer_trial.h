#pragma once

#include "chaos/bad_peer.h"
#include "chaos/callers.h"
#include "chaos/invariants.h"
#include "chaos/random_calls.h"
#include "chaos/scene.h"

#include <QStringList>

#include <memory>
#include <random>

namespace Chaos {

/// One run of the daemon beside a peer that misbehaves. Everything is drawn by chance: whether the
/// fault is there from the start, what clients ask, and how the run ends.
class PeerTrial
{
public:
    enum Peer { Systemd, UserService, UserManager };

    /// @param whole, random have to live as long as this object.
    PeerTrial(Peer peer, PeerFault::Kind fault, const WholeFiles &whole, std::mt19937 &random);

    /// @return what did not hold.
    [[nodiscard]] QStringList run();
    [[nodiscard]] int calls() const { return m_callers.calls(); }

private:
    enum Ending { Idle, Told, ToldDuringTheFault };

    bool chance(int of) { return m_random() % uint(of) == 0; }
    /// @return whether there is more to do.
    [[nodiscard]] bool start(QStringList &wrong);
    void ask(int count);
    void callDuringTheFault(QStringList &wrong);
    [[nodiscard]] QStringList faultsAfterwards();
    [[nodiscard]] QStringList faultsOfTheSettings();
    [[nodiscard]] QStringList faultsOfTheEnd();
    [[nodiscard]] QStringList faultsOfTheLauncher();

    const Peer m_which;
    const PeerFault::Kind m_kind;
    const WholeFiles &m_whole;
    std::mt19937 &m_random;
    RandomCalls m_calls{m_random};
    Scene m_scene;
    std::unique_ptr<FakeUserService> m_userService;
    std::unique_ptr<BadPeer> m_peer;
    PeerFault m_fault;
    Callers m_callers{m_scene, m_random};
    bool m_isFaultyFromTheStart = false;
    Ending m_ending = Told;
};

/// The files that the daemon writes for RandomCalls when nothing is wrong.
[[nodiscard]] WholeFiles wholeFiles();

} // namespace Chaos

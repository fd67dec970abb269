#pragma once

#include "chaos/callers.h"
#include "chaos/invariants.h"
#include "chaos/random_calls.h"
#include "chaos/scene.h"

#include <QStringList>

#include <random>

namespace Chaos {

/// One run of the daemon on a bus that fails while clients call.
class BusTrial
{
public:
    enum Fault {
        /// The bus is killed.
        Killed,
        /// It does nothing for a while.
        Stopped,
    };

    /// @param whole, random have to live as long as this object.
    BusTrial(Fault fault, const WholeFiles &whole, std::mt19937 &random);

    /// @return what did not hold.
    [[nodiscard]] QStringList run();
    [[nodiscard]] int calls() const { return m_callers.calls(); }

private:
    void ask(int count);
    [[nodiscard]] QStringList killTheBus();
    [[nodiscard]] QStringList stopTheBus();

    const Fault m_fault;
    const WholeFiles &m_whole;
    RandomCalls m_calls;
    Scene m_scene;
    FakeUserService m_userService;
    Callers m_callers;
};

} // namespace Chaos

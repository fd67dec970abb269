#pragma once

#include <memory>

namespace DBus {

/// Counts an incoming call that is not answered yet, from construction until the last copy is
/// destroyed. Held by whatever will send the answer. Before the process ends, it waits for these
/// calls. Event-loop thread only.
class OpenCall
{
public:
    /// Counts one call more.
    OpenCall();

    /// Number of calls that are not answered yet.
    [[nodiscard]] static int count();

private:
    std::shared_ptr<const void> m_token;
};

} // namespace DBus

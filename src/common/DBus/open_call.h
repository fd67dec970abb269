#pragma once

#include <memory>

namespace DBus {

/// Stands for a call that has been taken and is not answered yet, as long as it or a copy of it
/// lives: kept by whatever will answer. The process looks at their number before it ends, so that
/// no caller is left waiting. Event-loop thread only.
class OpenCall
{
public:
    OpenCall();

    /// How many calls wait for their answer.
    [[nodiscard]] static int count();

private:
    std::shared_ptr<const void> m_token;
};

} // namespace DBus

#pragma once

#include <QHash>
#include <QtGlobal>

#include <memory>

namespace DBus {

/// Limits how much each user may have open at a time, so that one user cannot use up what there is
/// for all. Event-loop thread only.
class UserQuota
{
public:
    /// Counts against the user's limit until the last copy is destroyed. May outlive this object.
    using Reservation = std::shared_ptr<void>;

    /// @param most limit for one user. There is none for root.
    explicit UserQuota(int most)
        : m_most(most)
    {
    }

    /// Counts one more for the user; null when the limit is reached.
    [[nodiscard]] Reservation reserve(uint user);

private:
    const int m_most;
    /// Number of open places by user id; users without any are not in it.
    std::shared_ptr<QHash<uint, int>> m_used = std::make_shared<QHash<uint, int>>();
};

} // namespace DBus

#pragma once

#include <QHash>
#include <QtGlobal>

#include <memory>

namespace DBus {

/// Bounds how much each user has open at a time, so that what all have together is not one user's.
/// Event-loop thread only.
class UserShare
{
public:
    /// A place within a user's share; it is free again when the last copy is gone. May outlive the
    /// share.
    using Place = std::shared_ptr<void>;

    /// @param most places of one user. Root may have any number.
    explicit UserShare(int most)
        : m_most(most)
    {
    }

    /// Null when the user has no place left.
    [[nodiscard]] Place takePlace(uint user);

private:
    const int m_most;
    /// Users who have any.
    std::shared_ptr<QHash<uint, int>> m_taken = std::make_shared<QHash<uint, int>>();
};

} // namespace DBus

#include "system/DBus/user_quota.h"

namespace DBus {

UserQuota::Reservation UserQuota::reserve(uint user)
{
    constexpr uint root = 0;
    if (user != root && m_used->value(user) >= m_most)
        return nullptr;
    ++(*m_used)[user];
    return {m_used.get(), [used = m_used, user](void *) {
                if (--(*used)[user] == 0)
                    used->remove(user);
            }};
}

} // namespace DBus

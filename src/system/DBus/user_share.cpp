#include "system/DBus/user_share.h"

namespace DBus {

UserShare::Place UserShare::takePlace(uint user)
{
    constexpr uint root = 0;
    if (user != root && m_taken->value(user) >= m_most)
        return nullptr;
    ++(*m_taken)[user];
    return {m_taken.get(), [taken = m_taken, user](void *) {
                if (--(*taken)[user] == 0)
                    taken->remove(user);
            }};
}

} // namespace DBus

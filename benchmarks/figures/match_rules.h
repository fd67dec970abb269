#pragma once

#include "support/fixture.h"

#include <QVector>

namespace Bench {

/// A daemon whose clients come, each on a connection of its own, and leave. More than the 128 that
/// a user may have take root, since they have to be of several users.
class Clients
{
public:
    Clients();
    ~Clients();
    Q_DISABLE_COPY(Clients)
    /// Has clients come, and register for the type Sync, until there are so many.
    void come(int count);
    void leave();
    /// How many match rules the daemon holds, as the bus says; -1 when it does not.
    [[nodiscard]] int rules() const;

    Fixture fixture;

private:
    [[nodiscard]] QDBusConnection connectionOfUser(int number) const;

    QVector<QDBusConnection> m_clients;
};

} // namespace Bench

#pragma once

#include "support/fixture.h"

#include <QVector>

namespace Bench {

/// A daemon with clients that come and leave, each on its own connection. More clients than the 128
/// that a user may have need root, because they have to belong to several users.
class Clients
{
public:
    Clients();
    ~Clients();
    Q_DISABLE_COPY(Clients)
    /// Adds clients, which register for the type Sync, until there is this number of them.
    void come(int count);
    void leave();
    /// The bus's count of the daemon's match rules; -1 when it does not answer.
    [[nodiscard]] int rules() const;

    Fixture fixture;

private:
    [[nodiscard]] QDBusConnection connectionOfUser(int number) const;

    QVector<QDBusConnection> m_clients;
};

} // namespace Bench

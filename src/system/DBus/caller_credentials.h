#pragma once

#include <QVector>

#include <optional>

class QDBusConnection;
class QString;

namespace DBus {

/// The credentials of a connection, as the bus recorded them when it was made. They do not change
/// when the process changes its user or passes its socket on. Plain value.
struct CallerCredentials
{
    /// User id of the process.
    uint uid = 0;
    /// Ids of all groups of the process, including the primary one. Nothing when the bus does not
    /// say.
    std::optional<QVector<uint>> gids;
    /// Process id. The process may have ended, and another one may have its id. Nothing when the
    /// bus does not say.
    std::optional<uint> pid;
};

/// Asks the bus for the credentials of a connection. Blocks until the answer arrives; usable from
/// any thread.
/// @param uniqueName the connection to ask about, for example ":1.42".
/// @param connection the connection to ask on.
/// @return nothing when there is no such connection, when there is no answer within the bus
/// library's timeout (25 s), or when the answer names no user or has a value of an unexpected type.
[[nodiscard]] std::optional<CallerCredentials> credentialsOf(const QString &uniqueName,
                                                             const QDBusConnection &connection);

} // namespace DBus

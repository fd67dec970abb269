#pragma once

#include <QVector>

#include <optional>

class QDBusConnection;
class QString;

namespace DBus {

/// Who connected, as the bus recorded it at that moment. What the process has become since then,
/// and who else holds its socket, does not change it.
struct CallerCredentials
{
    /// The user that the process ran as.
    uint uid = 0;
    /// All groups that the process had, its main one among them. None when the bus does not say.
    std::optional<QVector<uint>> gids;
    /// The number of the process. It may have ended, and the number may belong to another by now.
    /// None when the bus does not say.
    std::optional<uint> pid;
};

/// Asks the bus for the credentials of a connection. Blocks for the answer; can be called on any
/// thread. Nothing when there is no such connection, no answer within the time that the bus library
/// allows (25 s), an answer that names no user, or one in which a value has an unexpected type.
/// @param uniqueName the connection to ask for, for instance ":1.42".
/// @param connection the connection to ask on.
[[nodiscard]] std::optional<CallerCredentials> credentialsOf(const QString &uniqueName,
                                                             const QDBusConnection &connection);

} // namespace DBus

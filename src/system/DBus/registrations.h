#pragma once

#include <QString>
#include <QVector>

class QDBusConnection;

namespace DBus {

/// A client's hold on a session.
struct Registration
{
    /// The client's unique bus name.
    QString client;
    /// Where the session is exported.
    QString path;
    /// Empty for a session of the per-user service.
    QString taskType;
};

/// Keeps registrations in the daemon's runtime directory for the next run of it: clients that are
/// on the bus when the daemon is restarted or leaves go on with the sessions that they have. Does
/// nothing without a runtime directory (RUNTIME_DIRECTORY, as the service manager sets it).
/// @return whether there was anything to keep and it is kept.
bool keepRegistrations(const QDBusConnection &bus, const QVector<Registration> &registrations);

/// What the run before has kept on the same bus; the second call finds nothing. Anything else in
/// the file's place, or the clients of another bus, count as nothing.
[[nodiscard]] QVector<Registration> takeKeptRegistrations(const QDBusConnection &bus);

} // namespace DBus

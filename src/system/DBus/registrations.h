#pragma once

#include <QString>
#include <QVector>

class QDBusConnection;

namespace DBus {

/// A client and a session that it holds.
struct Registration
{
    /// The client's unique bus name.
    QString client;
    /// Object path of the session.
    QString path;
    /// Task type of the session; empty for a session of the per-user service.
    QString taskType;
};

/// Saves registrations in the runtime directory for the next run of the daemon, so that clients
/// keep their sessions when the daemon is restarted or leaves. Does nothing without a runtime
/// directory (RUNTIME_DIRECTORY, which systemd sets) or without registrations.
/// @param bus the connection that the clients call on.
/// @return whether something was saved.
bool saveRegistrations(const QDBusConnection &bus, const QVector<Registration> &registrations);

/// Loads and removes the registrations that the previous run saved.
/// @return an empty list when there are none, when the file is damaged, or when it is from another
/// bus.
[[nodiscard]] QVector<Registration> restoreRegistrations(const QDBusConnection &bus);

} // namespace DBus

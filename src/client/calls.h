#pragma once

#include <QDBusMessage>
#include <QString>
#include <QVariantMap>

// The daemon's calls as messages, for callers that send them themselves. Pure functions.
// Client::Daemon sends them.

namespace Client {

/// The answer holds the session of a task type: its path and its two lists.
[[nodiscard]] QDBusMessage registerInvokerCall(const QString &taskType);
/// @param session object path of any session; every session starts tasks of any type.
/// @param information, hints see Start in the interface's documentation.
[[nodiscard]] QDBusMessage startCall(const QString &session, const QString &taskId,
                                     const QVariantMap &information, const QVariantMap &hints);
[[nodiscard]] QDBusMessage stopCall(const QString &session, const QString &taskId);
[[nodiscard]] QDBusMessage closeSessionCall(const QString &session);
/// Reads a property of a session: "ActiveTasks" or "AvailableTasks".
[[nodiscard]] QDBusMessage sessionPropertyCall(const QString &session, const QString &property);
/// @param uid a user; -1 for all users.
[[nodiscard]] QDBusMessage setEnabledCall(int uid, const QString &application, bool enabled);
[[nodiscard]] QDBusMessage getEnabledCall(int uid);
/// Tells that an application was removed.
[[nodiscard]] QDBusMessage onRemoveCall(const QString &application);

} // namespace Client

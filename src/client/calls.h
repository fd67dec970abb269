#pragma once

#include <QDBusMessage>
#include <QString>
#include <QVariantMap>

// The daemon's calls as messages, for whoever sends them in a way of their own. Pure functions;
// Client::Daemon sends them.

namespace Client {

/// Gives the session of a task type: its path and both of its lists.
[[nodiscard]] QDBusMessage registerInvokerCall(const QString &taskType);
/// @param session object path of any session; every session starts tasks of any type.
/// @param information, hints what Start documents.
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

#pragma once

#include "system/DBus/caller_credentials.h"

#include <QDBusConnection>
#include <QHash>
#include <QObject>
#include <QString>

#include <optional>

namespace DBus {

/// The clients on the bus: their credentials, and when they leave. One match rule serves all
/// clients. Event-loop thread only.
class Clients : public QObject
{
    Q_OBJECT

public:
    /// @param bus the connection that the clients call on.
    explicit Clients(const QDBusConnection &bus, QObject *parent = nullptr);
    /// The clients on the system bus; made by the first call, never destroyed.
    static Clients &instance();
    /// instance() if it was made and uses this connection; otherwise null.
    [[nodiscard]] static Clients *of(const QDBusConnection &connection);

    /// The credentials with which a client connected. The first call for a client blocks for a call
    /// to the bus. Nothing when the client has left.
    /// @param busName the client's unique bus name.
    [[nodiscard]] std::optional<CallerCredentials> credentialsOf(const QString &busName);
    /// The user id from credentialsOf().
    [[nodiscard]] std::optional<uint> userOf(const QString &busName);

Q_SIGNALS:
    /// A name on the bus has lost its owner. For a unique name: the client has left.
    void left(const QString &busName);

private Q_SLOTS:
    void onNameOwnerChanged(const QString &busName);

private:
    QDBusConnection m_bus;
    QHash<QString, CallerCredentials> m_known;
};

} // namespace DBus

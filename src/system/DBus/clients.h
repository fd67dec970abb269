#pragma once

#include "system/DBus/caller_credentials.h"

#include <QDBusConnection>
#include <QHash>
#include <QObject>
#include <QString>

#include <optional>

namespace DBus {

/// The daemon's clients as the bus knows them: who has made each connection, and when one leaves.
/// One match rule serves all of them, however many there are. Event-loop thread only.
class Clients : public QObject
{
    Q_OBJECT

public:
    explicit Clients(const QDBusConnection &bus, QObject *parent = nullptr);
    /// Those on the system bus; made by the first call, never destroyed.
    static Clients &instance();
    /// These, when they have been made and the connection is theirs; else null.
    [[nodiscard]] static Clients *of(const QDBusConnection &connection);

    /// What the bus recorded of a client when it connected. Blocks for a question to the bus the
    /// first time that a client is asked for. Nothing when the client has left.
    /// @param busName the client's unique bus name.
    [[nodiscard]] std::optional<CallerCredentials> credentialsOf(const QString &busName);
    /// The user id among these.
    [[nodiscard]] std::optional<uint> userOf(const QString &busName);

Q_SIGNALS:
    /// A name on the bus has no owner any more; a client's unique name when the client has left.
    void left(const QString &busName);

private Q_SLOTS:
    void onNameOwnerChanged(const QString &busName);

private:
    QDBusConnection m_bus;
    QHash<QString, CallerCredentials> m_known;
};

} // namespace DBus

#pragma once

#include <QDBusConnection>
#include <QHash>
#include <QObject>
#include <QString>

#include <optional>

namespace DBus {

/// The daemon's clients as the bus knows them: which user each belongs to, and when one leaves. One
/// match rule serves all of them, however many there are. Event-loop thread only.
class Clients : public QObject
{
    Q_OBJECT

public:
    explicit Clients(const QDBusConnection &bus, QObject *parent = nullptr);
    /// Those on the system bus; made by the first call, never destroyed.
    static Clients &instance();

    /// The user id of a client. Blocks for a question to the bus the first time that a client is
    /// asked for. Nothing when the client has left.
    /// @param busName the client's unique bus name.
    [[nodiscard]] std::optional<uint> userOf(const QString &busName);

Q_SIGNALS:
    /// A name on the bus has no owner any more; a client's unique name when the client has left.
    void left(const QString &busName);

private Q_SLOTS:
    void onNameOwnerChanged(const QString &busName);

private:
    QDBusConnection m_bus;
    QHash<QString, uint> m_users;
};

} // namespace DBus

#pragma once

#include "fakes/fake_peer.h"

#include <QStringList>
#include <QVector>

#include <functional>

/// Stands in for the user manager: answers "users" by its mode.
///   list       the given users
///   empty      no user
///   error      an error reply
///   malformed  a reply of another type
///   hang       no reply before release()
class FakeUserManager : public FakePeer
{
    Q_OBJECT

public:
    /// Claims the service's name on the connection.
    /// @param uids numeric ids, for the mode "list".
    FakeUserManager(const QDBusConnection &bus, const QString &mode, const QStringList &uids);

    /// Whether the name could be claimed.
    [[nodiscard]] bool isUp() const { return m_isUp; }
    /// Answers in another mode from now on.
    void behave(const QString &mode) { m_mode = mode; }
    /// Answers in another mode from now on, and answers the calls that have no reply yet.
    void release(const QString &mode);
    /// Runs at each call.
    std::function<void()> onCall;

    bool serve(const QDBusMessage &call) override;

private:
    [[nodiscard]] QDBusMessage answerTo(const QDBusMessage &message) const;

    QVector<QDBusMessage> m_waiting;
    QString m_mode;
    const QStringList m_uids;
    bool m_isUp = false;
};

#pragma once

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QObject>

namespace Autostart {

/// Requests the list of users from the user manager, once, when it is constructed. Does not block.
/// Event-loop thread only.
class UserListQuery : public QObject
{
    Q_OBJECT
    /// False while the answer is awaited.
    Q_PROPERTY(bool isIdle READ isIdle NOTIFY isIdleChanged)

public:
    explicit UserListQuery(QObject *parent = nullptr);

    /// Whether the answer has arrived.
    [[nodiscard]] bool isIdle() const { return m_isAnswered; }

Q_SIGNALS:
    /// The answer, or an error after the bus library's default timeout. Emitted once.
    void answered(const QDBusMessage &answer);
    /// isIdle() has changed.
    void isIdleChanged();

private:
    void finish();

    QDBusPendingCallWatcher m_call;
    bool m_isAnswered = false;
};

} // namespace Autostart

#pragma once

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QObject>

namespace Autostart {

/// Requests the list of users from the user manager, once, when it is constructed. Does not block.
/// Event-loop thread only.
class UserQuestion : public QObject
{
    Q_OBJECT
    /// False while the answer is awaited.
    Q_PROPERTY(bool isIdle READ isIdle NOTIFY isIdleChanged)

public:
    explicit UserQuestion(QObject *parent = nullptr);

    [[nodiscard]] bool isIdle() const { return m_isAnswered; }

Q_SIGNALS:
    /// The answer, or an error after the bus library's default timeout. Emitted once.
    void answered(const QDBusMessage &answer);
    void isIdleChanged();

private:
    void finish();

    QDBusPendingCallWatcher m_call;
    bool m_isAnswered = false;
};

} // namespace Autostart

#pragma once

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QObject>

namespace Autostart {

/// Asks the user manager who exists, and goes on with other work until it answers. Asks once, when
/// it is made. Event-loop thread only.
class UserQuestion : public QObject
{
    Q_OBJECT
    /// False while the answer is awaited.
    Q_PROPERTY(bool isIdle READ isIdle NOTIFY isIdleChanged)

public:
    explicit UserQuestion(QObject *parent = nullptr);

    [[nodiscard]] bool isIdle() const { return m_isAnswered; }

Q_SIGNALS:
    /// The answer, or an error after the bus library's default time. Comes once.
    void answered(const QDBusMessage &answer);
    void isIdleChanged();

private:
    void finish();

    QDBusPendingCallWatcher m_call;
    bool m_isAnswered = false;
};

} // namespace Autostart

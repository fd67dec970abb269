#include "system/autostart/user_question.h"

#include "system/autostart/users.h"

#include <QDBusConnection>

namespace Autostart {

UserQuestion::UserQuestion(QObject *parent)
    : QObject(parent)
    , m_call(QDBusConnection::systemBus().asyncCall(usersCall()))
{
    connect(&m_call, &QDBusPendingCallWatcher::finished, this, &UserQuestion::finish);
}

void UserQuestion::finish()
{
    Q_EMIT answered(m_call.reply());
    m_isAnswered = true;
    Q_EMIT isIdleChanged();
}

} // namespace Autostart

#include "system/autostart/user_list_query.h"

#include "system/autostart/users.h"

#include <QDBusConnection>

namespace Autostart {

UserListQuery::UserListQuery(QObject *parent)
    : QObject(parent)
    , m_call(QDBusConnection::systemBus().asyncCall(usersCall()))
{
    connect(&m_call, &QDBusPendingCallWatcher::finished, this, &UserListQuery::finish);
}

void UserListQuery::finish()
{
    Q_EMIT answered(m_call.reply());
    m_isAnswered = true;
    Q_EMIT isIdleChanged();
}

} // namespace Autostart

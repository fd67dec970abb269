#include "system/DBus/caller_authorization.h"

#include "common/places.h"
#include "system/DBus/caller_credentials.h"
#include "system/DBus/clients.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDeadlineTimer>
#include <QFileInfo>
#include <QSet>

#include <sailfishaccesscontrol.h>

#include <algorithm>
#include <deque>
#include <utility>

namespace DBus {

namespace {

/// Callers that were refused within the last second. A check asks the bus and blocks all other
/// clients meanwhile; without this, a client that calls without pause would block them all the
/// time. The bus never reuses a unique name, so a name identifies one caller.
class RecentRefusals
{
public:
    bool contains(const QString &refusal)
    {
        dropExpired();
        return m_known.contains(refusal);
    }
    void add(const QString &refusal)
    {
        constexpr int momentMs = 1000;
        m_known.insert(refusal);
        m_byAge.emplace_back(QDeadlineTimer(momentMs), refusal);
    }

private:
    void dropExpired()
    {
        while (!m_byAge.empty() && m_byAge.front().first.hasExpired()) {
            m_known.remove(m_byAge.front().second);
            m_byAge.pop_front();
        }
    }

    QSet<QString> m_known;
    std::deque<std::pair<QDeadlineTimer, QString>> m_byAge;
};

/// The effective user and group of a process, as its directory in /proc shows them.
struct Process
{
    uint uid;
    uint gid;
    /// Name of the group; empty when it has none.
    QString group;
};

std::optional<Process> processOf(const CallerCredentials &caller, const Places &places)
{
    if (!caller.pid)
        return {};
    const QFileInfo directory(places.process(*caller.pid));
    // The owner id of a missing path must not be mistaken for a user.
    if (!directory.exists())
        return {};
    return Process{directory.ownerId(), directory.groupId(), directory.group()};
}

bool isMember(uint uid, const QString &group)
{
    return sailfish_access_control_hasgroup(uid, group.toUtf8().constData());
}

bool connectedWith(const CallerCredentials &caller, uint gid)
{
    return caller.gids && caller.gids->contains(gid);
}

bool bothBelongTo(const QString &group, const Process &process, const CallerCredentials &caller)
{
    if (process.group == group && connectedWith(caller, process.gid))
        return true;
    return (process.group == group || isMember(process.uid, group)) && isMember(caller.uid, group);
}

std::optional<CallerCredentials> callerNamed(const QString &name, const QDBusConnection &connection)
{
    Clients *const clients = Clients::of(connection);
    return clients != nullptr ? clients->credentialsOf(name) : credentialsOf(name, connection);
}

bool isAuthorized(const QString &name, const QDBusConnection &connection, const QStringList &groups)
{
    std::optional<CallerCredentials> caller = callerNamed(name, connection);
    if (!caller)
        return false;
    const Places places = Places::ofProcess();
    const std::optional<Process> process = processOf(*caller, places);
    if (!process)
        return false;
    // With a root prefix, /proc belongs to another system, whose ids the bus does not know.
    if (!places.root.isEmpty())
        caller = CallerCredentials{process->uid, QVector<uint>{process->gid}, caller->pid};

    if (process->uid == 0 && caller->uid == 0)
        return true;
    return std::any_of(groups.cbegin(), groups.cend(), [&](const QString &group) {
        // A group without a name must match nothing.
        return !group.isEmpty() && bothBelongTo(group, *process, *caller);
    });
}

} // namespace

bool isCallerAuthorized(const QDBusMessage &call, const QDBusConnection &connection,
                        const QStringList &groups)
{
    if (qgetenv("ORVANE_SKIP_AUTHENTICATION") == "1")
        return true;
    static RecentRefusals refusals;
    const QString refusal =
        (QStringList{connection.name(), call.service()} + groups).join(QLatin1Char('\n'));
    if (refusals.contains(refusal))
        return false;
    const bool admitted = isAuthorized(call.service(), connection, groups);
    if (!admitted)
        refusals.add(refusal);
    return admitted;
}

bool mayRunTasks(const QDBusMessage &call, const QDBusConnection &connection)
{
    const char *const variable = "ORVANE_TASK_GROUPS";
    if (!qEnvironmentVariableIsSet(variable))
        return true;
    QStringList groups = qEnvironmentVariable(variable).split(QLatin1Char(','));
    for (QString &group : groups)
        group = group.trimmed();
    groups.removeAll(QString());
    return isCallerAuthorized(call, connection, groups);
}

} // namespace DBus

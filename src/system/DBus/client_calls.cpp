#include "system/DBus/client_calls.h"

#include "common/DBus/message_contents.h"

#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>

#include <algorithm>
#include <utility>

namespace DBus {

namespace {

constexpr uint root = 0;
// Stands for the users of clients that have left. No user has this id.
constexpr uint unknownUser = 0xffffffff;

} // namespace

ClientCalls::Usage &ClientCalls::Usage::operator+=(const Usage &change)
{
    inFlight += change.inFlight;
    waiting += change.waiting;
    bytes += change.bytes;
    descriptors += change.descriptors;
    return *this;
}

ClientCalls::ClientCalls(const QDBusConnection &bus, UserLookup userOf, const Limits &limits,
                         QObject *parent)
    : QObject(parent)
    , m_bus(bus)
    , m_userOf(std::move(userOf))
    , m_limits(limits)
{
}

ClientCalls::~ClientCalls() = default;

ClientCalls::Refusal ClientCalls::call(const QString &client, const Request &request)
{
    // A client that wants no answer may have left before its call is handled. All of them count as
    // one client, because the bus does not tell their users any more.
    const std::optional<uint> user = m_userOf(client);
    const QString name = user ? client : QString();
    std::shared_ptr<Client> entry = m_byName.value(name);
    if (entry == nullptr)
        entry = std::make_shared<Client>(Client{user.value_or(unknownUser), {}, {}, {}});
    // Checked first, because examining the message takes time.
    if (!hasRoom(*entry, {0, 1, 0, 0}))
        return TooMuch;
    const MessageContents contents = contentsOf(request.message);
    if (contents.hasNestedDescriptors || contents.hasEmptySignature)
        return CannotBeSentOn;
    const Usage usage{0, 1, contents.size, contents.descriptors};
    if (contents.isTooLarge() || !hasRoom(*entry, usage))
        return TooMuch;
    m_byName.insert(name, entry);
    if (entry->waiting.empty())
        m_turns.push_back(name);
    entry->waiting.push_back({request, usage});
    count(*entry, usage);
    sendWaiting();
    return Taken;
}

bool ClientCalls::hasRoom(const Client &client, const Usage &call) const
{
    const auto fits = [&](const Usage &usage, int Share::*share) {
        // Every call counts as waiting first, even one that is sent at once.
        return usage.waiting + call.waiting <= m_limits.waiting.*share
            && usage.bytes + call.bytes <= m_limits.bytes.*share
            && usage.descriptors + call.descriptors <= m_limits.descriptors.*share;
    };
    const bool userHasRoom = client.user == root || fits(m_users.value(client.user), &Share::user);
    return userHasRoom && fits(m_all, &Share::all) && fits(client.usage, &Share::client);
}

bool ClientCalls::maySend(const Client &client) const
{
    const bool userMay =
        client.user == root || m_users.value(client.user).inFlight < m_limits.inFlight.user;
    return userMay && client.usage.inFlight < m_limits.inFlight.client;
}

void ClientCalls::count(Client &client, const Usage &change)
{
    m_all += change;
    client.usage += change;
    Usage &user = m_users[client.user];
    user += change;
    if (user.inFlight == 0 && user.waiting == 0)
        m_users.remove(client.user);
}

void ClientCalls::sendWaiting()
{
    // Ends when no client could send in a full round. A client that may not send now moves to the
    // end of the queue.
    std::size_t couldNot = 0;
    while (m_all.inFlight < m_limits.inFlight.all && couldNot < m_turns.size()) {
        const QString name = m_turns.front();
        m_turns.pop_front();
        const std::shared_ptr<Client> client = m_byName.value(name);
        if (maySend(*client)) {
            sendNext(name, *client);
            couldNot = 0;
        } else {
            ++couldNot;
        }
        if (!client->waiting.empty())
            m_turns.push_back(name);
    }
}

void ClientCalls::sendNext(const QString &name, Client &client)
{
    Call call = std::move(client.waiting.front());
    client.waiting.pop_front();
    count(client, {1, -1, 0, 0});
    const quint64 number = ++m_lastNumber;
    Request &request = call.request;
    client.callbacks.insert(number, request.callback);
    auto *watcher =
        new QDBusPendingCallWatcher(m_bus.asyncCall(request.message, request.timeoutMs), this);
    // Otherwise the bus library would keep the arguments until the answer comes, which may take a
    // day.
    request.message.setArguments({});
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, name, number, usage = call.usage](QDBusPendingCallWatcher *finished) {
                finished->deleteLater();
                finish(name, number, usage, finished);
            });
}

void ClientCalls::finish(const QString &name, quint64 number, const Usage &usage,
                         QDBusPendingCallWatcher *finished)
{
    const std::shared_ptr<Client> client = m_byName.value(name);
    const Callback callback = client->callbacks.take(number);
    // For a client that has left, forgetClient() has subtracted bytes and descriptors already.
    count(*client, {-1, 0, callback ? -usage.bytes : 0, callback ? -usage.descriptors : 0});
    dropIfUnused(name);
    sendWaiting();
    if (callback)
        callback(finished);
}

void ClientCalls::forgetClient(const QString &client)
{
    const std::shared_ptr<Client> entry = m_byName.value(client);
    if (entry == nullptr)
        return;
    std::deque<Call> &waiting = entry->waiting;
    const auto isDropped = [](const Call &call) {
        return call.request.whenClientLeaves == DropWaiting;
    };
    waiting.erase(std::remove_if(waiting.begin(), waiting.end(), isDropped), waiting.end());
    // Calls that have been sent still count, because the bus counts them until they are answered.
    entry->callbacks.clear();
    Usage kept{entry->usage.inFlight, 0, 0, 0};
    for (const Call &call : waiting)
        kept += call.usage;
    const Usage &used = entry->usage;
    count(*entry,
          {0, kept.waiting - used.waiting, kept.bytes - used.bytes,
           kept.descriptors - used.descriptors});
    if (waiting.empty())
        m_turns.erase(std::remove(m_turns.begin(), m_turns.end(), client), m_turns.end());
    dropIfUnused(client);
    sendWaiting();
}

void ClientCalls::dropIfUnused(const QString &name)
{
    const auto entry = m_byName.constFind(name);
    if (entry != m_byName.constEnd() && (*entry)->usage.inFlight == 0
        && (*entry)->usage.waiting == 0)
        m_byName.erase(entry);
}

} // namespace DBus

#include "system/DBus/user_service.h"

#include "common/DBus/answer.h"
#include "system/DBus/client_calls.h"
#include "system/DBus/clients.h"

#include <QDBusError>
#include <QDBusMessage>

namespace DBus {

namespace {

constexpr int mebibyte = 1024 * 1024;

constexpr ClientCalls::Limits limits{
    // Half of the 128 outstanding replies that the bus allows a connection, so that a user service
    // that does not answer leaves room for calls to systemd. One user may use a quarter of it.
    {64, 16, 8},
    // Enough for any burst of calls; beyond it calls are refused.
    {1024, 512, 256},
    // One client may have one call of the largest size that the bus accepts.
    {128 * mebibyte, 64 * mebibyte, 32 * mebibyte},
    // The bus allows 16 in one message.
    {128, 64, 32}};

QDBusMessage refusalOf(const QDBusMessage &request, ClientCalls::Refusal refusal)
{
    if (refusal == ClientCalls::CannotBeSentOn) {
        return request.createErrorReply(
            QDBusError::NotSupported,
            QStringLiteral("File descriptors inside other values and signatures without types "
                           "cannot be passed on"));
    }
    return request.createErrorReply(QDBusError::LimitsExceeded,
                                    QStringLiteral("Too many calls wait for the user service"));
}

} // namespace

ClientCalls &userServiceCalls()
{
    static ClientCalls *const calls = [] {
        Clients &clients = Clients::instance();
        auto *made = new ClientCalls(
            QDBusConnection::systemBus(),
            [&clients](const QString &client) { return clients.userOf(client); }, limits);
        QObject::connect(&clients, &Clients::left, made, &ClientCalls::forgetClient);
        return made;
    }();
    return *calls;
}

bool callUserService(const QDBusConnection &connection, QDBusMessage request,
                     const QDBusMessage &call, int timeoutMs, const ClientCalls::Callback &callback)
{
    request.setArguments({});
    const auto whenClientLeaves =
        request.isReplyRequired() ? ClientCalls::DropWaiting : ClientCalls::SendNevertheless;
    const ClientCalls::Refusal refusal =
        userServiceCalls().call(request.service(), {call, timeoutMs, callback, whenClientLeaves});
    if (refusal == ClientCalls::Taken)
        return true;
    sendAnswer(connection, request, refusalOf(request, refusal));
    return false;
}

} // namespace DBus

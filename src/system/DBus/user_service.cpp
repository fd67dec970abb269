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
    // Half of the 128 outstanding replies that the bus grants a connection: a user service that
    // hangs must leave room for the calls to systemd. One user may fill a quarter of it.
    {64, 16, 8},
    // Enough for any burst of clients; beyond it a client is told rather than kept waiting.
    {1024, 512, 256},
    // A client may have one call of the largest size that the bus carries.
    {128 * mebibyte, 64 * mebibyte, 32 * mebibyte},
    // The bus carries 16 in a message.
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
    const ClientCalls::Refusal refusal =
        userServiceCalls().call(request.service(), call, timeoutMs, callback);
    if (refusal == ClientCalls::Taken)
        return true;
    sendAnswer(connection, request, refusalOf(request, refusal));
    return false;
}

} // namespace DBus

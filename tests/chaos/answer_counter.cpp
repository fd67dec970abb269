#include "chaos/answer_counter.h"

#include <QtGlobal>

#include <dbus/dbus.h>

namespace Chaos {

AnswerCounter::AnswerCounter(const QString &busAddress)
    : m_connection(dbus_connection_open_private(busAddress.toUtf8().constData(), nullptr))
{
    if (m_connection == nullptr || !dbus_bus_register(m_connection, nullptr))
        qFatal("no connection to count answers on");
    dbus_connection_set_exit_on_disconnect(m_connection, FALSE);
    DBusMessage *call = dbus_message_new_method_call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS,
                                                     DBUS_INTERFACE_MONITORING, "BecomeMonitor");
    const char *rules[] = {"type='method_return'", "type='error'"};
    const char **array = rules;
    const dbus_uint32_t flags = 0;
    dbus_message_append_args(call, DBUS_TYPE_ARRAY, DBUS_TYPE_STRING, &array, 2, DBUS_TYPE_UINT32,
                             &flags, DBUS_TYPE_INVALID);
    DBusMessage *reply =
        dbus_connection_send_with_reply_and_block(m_connection, call, 60000, nullptr);
    dbus_message_unref(call);
    if (reply == nullptr)
        qFatal("the bus lets nobody listen");
    dbus_message_unref(reply);
    const auto filter = [](DBusConnection *connection, DBusMessage *message, void *counter) {
        return static_cast<DBusHandlerResult>(onMessage(connection, message, counter));
    };
    dbus_connection_add_filter(m_connection, filter, this, nullptr);
}

AnswerCounter::~AnswerCounter()
{
    dbus_connection_close(m_connection);
    dbus_connection_unref(m_connection);
}

int AnswerCounter::onMessage(DBusConnection *, DBusMessage *message, void *counter)
{
    const char *sender = dbus_message_get_sender(message);
    const char *client = dbus_message_get_destination(message);
    if (sender != nullptr && client != nullptr && qstrcmp(sender, DBUS_SERVICE_DBUS) != 0)
        ++static_cast<AnswerCounter *>(counter)->m_answers[QString::fromLatin1(client)];
    return DBUS_HANDLER_RESULT_HANDLED;
}

void AnswerCounter::takeWhatCame()
{
    do {
        dbus_connection_read_write(m_connection, 0);
    } while (dbus_connection_dispatch(m_connection) == DBUS_DISPATCH_DATA_REMAINS
             || dbus_connection_get_dispatch_status(m_connection) == DBUS_DISPATCH_DATA_REMAINS);
}

int AnswerCounter::answersTo(const QString &client)
{
    takeWhatCame();
    return m_answers.value(client);
}

void AnswerCounter::forget()
{
    takeWhatCame();
    m_answers.clear();
}

} // namespace Chaos

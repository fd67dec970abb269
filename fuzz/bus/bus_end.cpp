#include "fuzz/bus/bus_end.h"

#include "fuzz/support/property.h"

#include <dbus/dbus.h>

QByteArray randomBytes(Random &random, int most)
{
    QByteArray bytes(static_cast<int>(random() % static_cast<unsigned>(most)), Qt::Uninitialized);
    for (char &byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

void MessageUnref::operator()(DBusMessage *message) const { dbus_message_unref(message); }

BusEnd::BusEnd(const QByteArray &address)
    : m_connection(dbus_connection_open_private(address.constData(), nullptr))
{
    FUZZ_PROPERTY(m_connection != nullptr && dbus_bus_register(m_connection, nullptr) != FALSE,
                  "the bus takes a connection");
    dbus_connection_set_exit_on_disconnect(m_connection, FALSE);
}

BusEnd::~BusEnd()
{
    dbus_connection_close(m_connection);
    dbus_connection_unref(m_connection);
}

bool BusEnd::claim(const char *name)
{
    return dbus_bus_request_name(m_connection, name, DBUS_NAME_FLAG_DO_NOT_QUEUE, nullptr)
        == DBUS_REQUEST_NAME_REPLY_PRIMARY_OWNER;
}

bool BusEnd::isNameOwned(const char *name)
{
    return dbus_bus_name_has_owner(m_connection, name, nullptr) != FALSE;
}

unsigned BusEnd::send(const Message &message)
{
    dbus_uint32_t serial = 0;
    dbus_connection_send(m_connection, message.get(), &serial);
    return serial;
}

void BusEnd::work()
{
    FUZZ_PROPERTY(dbus_connection_read_write(m_connection, 0), "the bus keeps a connection");
    while (DBusMessage *message = dbus_connection_pop_message(m_connection))
        handle(Message(message));
    dbus_connection_read_write(m_connection, 0);
}

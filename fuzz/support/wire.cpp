#include "fuzz/support/wire.h"

#include "common/DBus/receive_limits.h"
#include "fuzz/support/application.h"
#include "fuzz/support/property.h"
#include "fuzz/support/random_message.h"

#include <QCoreApplication>

#include <dbus/dbus.h>

namespace {

QString objectPath() { return QStringLiteral("/o"); }

// The message that shows that the connection works, and the one that follows every message.
const char *const greeting = "Greeting";
const char *const marker = "Marker";

DBusMessage *newCall(const char *method)
{
    DBusMessage *message = dbus_message_new_method_call(nullptr, "/o", "i.i", method);
    dbus_message_set_no_reply(message, TRUE);
    return message;
}

} // namespace

Wire &Wire::instance()
{
    needApplication();
    static Wire *const wire = new Wire;
    return *wire;
}

Wire::Wire()
    : m_server(QStringLiteral("unix:tmpdir=/tmp"))
{
    m_server.setAnonymousAuthenticationAllowed(true);
    QObject::connect(&m_server, &QDBusServer::newConnection, this,
                     [this](const QDBusConnection &connection) {
                         m_connection = connection;
                         DBus::liftReceiveLimits(m_connection);
                         m_connection.registerVirtualObject(objectPath(), this);
                     });
    m_libraryEnd = dbus_connection_open_private(m_server.address().toUtf8().constData(), nullptr);
    FUZZ_PROPERTY(m_libraryEnd != nullptr, "the wire connects");
    // The framework may not deliver the first message, even when both ends are connected.
    while (!m_isUp) {
        dbus_connection_read_write(m_libraryEnd, 1);
        if (dbus_connection_get_is_authenticated(m_libraryEnd) != FALSE)
            send(newCall(greeting));
        QCoreApplication::processEvents();
    }
    // Wakes the event loop, because the framework tells nobody that it has closed a connection.
    m_alarm.start(100);
}

QDBusMessage Wire::received(const QByteArray &signature, Input &input)
{
    DBusMessage *message = newCall("M");
    appendArguments(message, signature, input);
    return received(message);
}

QDBusMessage Wire::sentAndReceived(const QVariantList &arguments)
{
    // The message is a call, because the object does not receive signals.
    QDBusMessage call = QDBusMessage::createMethodCall(QString(), objectPath(),
                                                       QStringLiteral("i.i"), QStringLiteral("M"));
    call.setArguments(arguments);
    if (!m_connection.send(call))
        return {};
    DBusMessage *sent = nullptr;
    while ((sent = dbus_connection_pop_message(m_libraryEnd)) == nullptr)
        FUZZ_PROPERTY(dbus_connection_read_write(m_libraryEnd, -1), "what is sent arrives");
    DBusMessage *copy = dbus_message_copy(sent);
    dbus_message_unref(sent);
    return received(copy);
}

QDBusMessage Wire::received(DBusMessage *message)
{
    m_received = QDBusMessage();
    m_isMarked = false;
    send(message);
    // Messages arrive in order: a message that has not arrived before its marker never will.
    send(newCall(marker));
    while (!m_isMarked) {
        FUZZ_PROPERTY(m_connection.isConnected(), "a well-formed message keeps its connection");
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    FUZZ_PROPERTY(m_received.type() != QDBusMessage::InvalidMessage,
                  "a well-formed message arrives");
    return m_received;
}

void Wire::send(DBusMessage *message)
{
    FUZZ_PROPERTY(dbus_connection_send(m_libraryEnd, message, nullptr), "a message can be sent");
    dbus_message_unref(message);
    dbus_connection_flush(m_libraryEnd);
}

bool Wire::handleMessage(const QDBusMessage &message, const QDBusConnection &)
{
    m_isUp = true;
    if (message.member() == QLatin1String(marker))
        m_isMarked = true;
    else if (message.member() != QLatin1String(greeting))
        m_received = message;
    return true;
}

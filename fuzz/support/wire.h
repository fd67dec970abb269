#pragma once

#include "fuzz/support/input.h"

#include <QByteArray>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusServer>
#include <QDBusVirtualObject>
#include <QVariantList>

struct DBusConnection;
struct DBusMessage;

/// A connection inside this process, between the bus library and the framework, over which messages
/// travel as they do from a bus: what the framework makes of bytes cannot be had otherwise. Made
/// once; main thread only.
class Wire : private QDBusVirtualObject
{
public:
    static Wire &instance();

    /// A message with the arguments that an input describes, as its receiver gets it.
    [[nodiscard]] QDBusMessage received(const QByteArray &signature, Input &input);
    /// A message with arguments of the framework's, sent by it and received again.
    [[nodiscard]] QDBusMessage sentAndReceived(const QVariantList &arguments);

private:
    Wire();
    // Takes the message.
    [[nodiscard]] QDBusMessage received(DBusMessage *message);
    void send(DBusMessage *message);
    [[nodiscard]] QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;

    QDBusServer m_server;
    QDBusConnection m_connection{QString()};
    DBusConnection *m_libraryEnd = nullptr;
    QDBusMessage m_received;
    bool m_isUp = false;
};

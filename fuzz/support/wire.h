#pragma once

#include "fuzz/support/input.h"

#include <QByteArray>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusServer>
#include <QDBusVirtualObject>
#include <QTimer>
#include <QVariantList>

struct DBusConnection;
struct DBusMessage;

/// A connection in this process between the bus library and the framework. Messages go through it
/// as they come from a bus, which is the only way to have the framework read a message's bytes.
/// There is one; main thread only.
class Wire : private QDBusVirtualObject
{
public:
    static Wire &instance();

    /// A message with arguments made from an input, as its receiver gets it.
    [[nodiscard]] QDBusMessage received(const QByteArray &signature, Input &input);
    /// A message with these arguments, which the framework has sent and received.
    [[nodiscard]] QDBusMessage sentAndReceived(const QVariantList &arguments);

private:
    Wire();
    // Takes ownership of the message.
    [[nodiscard]] QDBusMessage received(DBusMessage *message);
    void send(DBusMessage *message);
    [[nodiscard]] QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;

    QDBusServer m_server;
    QDBusConnection m_connection{QString()};
    DBusConnection *m_libraryEnd = nullptr;
    QDBusMessage m_received;
    QTimer m_alarm;
    bool m_isUp = false;
    bool m_isMarked = false;
};

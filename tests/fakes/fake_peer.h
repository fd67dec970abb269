#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>

#include <functional>

/// A stand-in for one of the daemon's peers. A test can take its calls away from it, to answer them
/// late, wrongly or never.
class FakePeer : public QDBusVirtualObject
{
public:
    explicit FakePeer(const QDBusConnection &bus, QObject *parent = nullptr)
        : QDBusVirtualObject(parent)
        , m_bus(bus)
    {
    }

    /// Gets every call instead of serve() when it is set.
    std::function<void(const QDBusMessage &call)> taken;
    /// Records and answers a call as this stand-in does by itself.
    /// @return whether it knows the call.
    virtual bool serve(const QDBusMessage &call) = 0;
    /// Sends anything in this peer's name, such as a made-up answer.
    void send(const QDBusMessage &message) const { m_bus.send(message); }
    /// Lets another process have a name of this peer. It stays on the bus, and can still answer.
    void giveUp(const QString &name)
    {
        // The framework crashes without a connection.
        if (m_bus.isConnected())
            m_bus.unregisterService(name);
    }
    /// Leaves the bus at once. What it has not answered is answered by the bus, with an error.
    void leaveTheBus()
    {
        QDBusConnection::disconnectFromBus(m_bus.name());
        m_bus = QDBusConnection(QString());
    }

    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &) override
    {
        if (!taken)
            return serve(message);
        taken(message);
        return true;
    }

protected:
    QDBusConnection m_bus;
};

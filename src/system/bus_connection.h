#pragma once

#include <QDBusConnection>
#include <QObject>

/// The daemon's connection to the system bus, without limits on received messages (see
/// DBus::liftReceiveLimits()). Reports when it is lost. Event-loop thread only.
class BusConnection : public QObject
{
    Q_OBJECT

public:
    /// Connects. Needs the application object.
    explicit BusConnection(QObject *parent = nullptr);

    /// The connection; valid as long as this object.
    [[nodiscard]] QDBusConnection &bus() { return m_bus; }

Q_SIGNALS:
    /// The bus has ended or has closed the connection. The framework does not connect again.
    void disconnected();

private:
    QDBusConnection m_bus;
};

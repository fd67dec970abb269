#pragma once

#include <QDBusConnection>
#include <QObject>

/// The daemon's connection to the system bus, set up so that no client can make it deaf. Tells when
/// it is lost. Event-loop thread only.
class BusConnection : public QObject
{
    Q_OBJECT

public:
    /// Connects. Needs the application object.
    explicit BusConnection(QObject *parent = nullptr);

    [[nodiscard]] QDBusConnection &bus() { return m_bus; }

Q_SIGNALS:
    /// The bus has gone, or has closed the connection. There is no way back: the framework does not
    /// connect again.
    void disconnected();

private:
    QDBusConnection m_bus;
};

// A service that does nothing, on the daemon's libraries: what a process of this kind costs at
// least.
//
//     bare-qtdbus NAME [--relay]
//
// Exports one object with one method, Register, at /bare; then claims the name. With --relay it
// passes on every change of a systemd unit as a change of its own object. On the system bus.

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>

#include <cstdlib>
#include <optional>

class Bare : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.zarn.Bare")

public Q_SLOTS:
    QString Register(const QString &type) { return type; }
};

class Relay : public QObject
{
    Q_OBJECT

public:
    Relay()
    {
        m_bus.connect(QStringLiteral("org.freedesktop.systemd1"), QString(), m_properties,
                      m_changed, this, SLOT(passOn(QDBusMessage)));
    }

private Q_SLOTS:
    void passOn(const QDBusMessage &change)
    {
        QDBusMessage signal =
            QDBusMessage::createSignal(QStringLiteral("/bare"), m_properties, m_changed);
        signal << QStringLiteral("org.zarn.Bare") << qdbus_cast<QVariantMap>(change.arguments()[1])
               << QStringList();
        m_bus.send(signal);
    }

private:
    QDBusConnection m_bus = QDBusConnection::systemBus();
    const QString m_properties = QStringLiteral("org.freedesktop.DBus.Properties");
    const QString m_changed = QStringLiteral("PropertiesChanged");
};

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    Bare bare;
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.registerObject(QStringLiteral("/bare"), &bare, QDBusConnection::ExportAllSlots)
        || !bus.registerService(QCoreApplication::arguments().value(1)))
        return EXIT_FAILURE;
    std::optional<Relay> relay;
    if (QCoreApplication::arguments().value(2) == QLatin1String("--relay"))
        relay.emplace();
    return QCoreApplication::exec();
}

#include "bare_qtdbus.moc"

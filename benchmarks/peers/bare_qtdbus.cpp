// A service that does nothing, with the daemon's libraries: the least cost of such a process.
//
//     bare-qtdbus NAME
//
// Exports one object with one method, Register, at /bare, then claims the name. Uses the system
// bus.

#include <QCoreApplication>
#include <QDBusConnection>

#include <cstdlib>

class Bare : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.zarn.Bare")

public Q_SLOTS:
    QString Register(const QString &type) { return type; }
};

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    Bare bare;
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.registerObject(QStringLiteral("/bare"), &bare, QDBusConnection::ExportAllSlots)
        || !bus.registerService(QCoreApplication::arguments().value(1)))
        return EXIT_FAILURE;
    return QCoreApplication::exec();
}

#include "bare_qtdbus.moc"

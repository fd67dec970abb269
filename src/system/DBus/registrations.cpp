#include "system/DBus/registrations.h"

#include "common/atomic_file.h"
#include "files/foreign_file.h"

#include <QDBusConnection>
#include <QDebug>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <dbus/dbus.h>

namespace DBus {

namespace {

QString busKey() { return QStringLiteral("bus"); }
QString registrationsKey() { return QStringLiteral("registrations"); }
QString clientKey() { return QStringLiteral("client"); }
QString pathKey() { return QStringLiteral("path"); }
QString typeKey() { return QStringLiteral("type"); }

// Larger than a file with the largest number of sessions that clients may hold.
constexpr qint64 largestSavedFile = 16 << 20;

// Path of the file; empty when there is no runtime directory.
QString savedFile()
{
    const QString directory = qEnvironmentVariable("RUNTIME_DIRECTORY");
    return directory.isEmpty() ? QString() : directory + QStringLiteral("/registrations.json");
}

// The id of the bus: after a restart, a bus gives the same unique names to other clients. The id is
// known since connecting, because it is also needed after the bus has closed the connection.
QString idOf(const QDBusConnection &bus)
{
    auto *connection = static_cast<DBusConnection *>(bus.internalPointer());
    if (connection == nullptr)
        return {};
    char *id = dbus_connection_get_server_id(connection);
    const QString text = QString::fromLatin1(id);
    dbus_free(id);
    return text;
}

} // namespace

bool saveRegistrations(const QDBusConnection &bus, const QVector<Registration> &registrations)
{
    const QString file = savedFile();
    const QString busId = registrations.isEmpty() || file.isEmpty() ? QString() : idOf(bus);
    if (busId.isEmpty())
        return false;
    QJsonArray list;
    for (const Registration &registration : registrations) {
        list.append(QJsonObject{{clientKey(), registration.client},
                                {pathKey(), registration.path},
                                {typeKey(), registration.taskType}});
    }
    const QJsonDocument document(QJsonObject{{busKey(), busId}, {registrationsKey(), list}});
    const bool kept = writeFileAtomically(file, document.toJson()) == FileWrite::Written;
    if (!kept)
        qWarning() << "Could not save the clients' registrations in" << file;
    return kept;
}

QVector<Registration> restoreRegistrations(const QDBusConnection &bus)
{
    const QString path = savedFile();
    const ForeignFile file = readForeignFile(path, largestSavedFile);
    if (path.isEmpty() || file.state == ForeignFile::Missing)
        return {};
    // Removed before it is used, so that a harmful file is used only once.
    QFile::remove(path);
    const QJsonObject kept = QJsonDocument::fromJson(file.text).object();
    const QString busId = kept.value(busKey()).toString();
    if (busId.isEmpty() || busId != idOf(bus))
        return {};
    QVector<Registration> registrations;
    const QJsonArray list = kept.value(registrationsKey()).toArray();
    for (const auto &value : list) {
        const QJsonObject entry = value.toObject();
        const QString client = entry.value(clientKey()).toString();
        // Only unique names: for these, the bus can tell whether the client has left.
        if (client.startsWith(QLatin1Char(':')))
            registrations.append(
                {client, entry.value(pathKey()).toString(), entry.value(typeKey()).toString()});
    }
    return registrations;
}

} // namespace DBus

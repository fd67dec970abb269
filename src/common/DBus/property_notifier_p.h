#pragma once

#include <QDBusArgument>
#include <QDBusConnection>
#include <QHash>
#include <QMap>
#include <QObject>
#include <QPair>
#include <QString>
#include <QVariant>
#include <QVector>

namespace DBus {

/// Names and values in the order of the announcement. On the bus: a{sv}
struct PropertyChanges
{
    QVector<QPair<QString, QVariant>> inOrder;
};

/// Writes the values directly into the message, so that each is marshalled only once.
QDBusArgument &operator<<(QDBusArgument &argument, const PropertyChanges &changes);
const QDBusArgument &operator>>(const QDBusArgument &argument, PropertyChanges &changes);

class PropertyNotifierPrivate : public QObject
{
    Q_OBJECT

public:
    PropertyNotifierPrivate(const QDBusConnection &bus, const QString &objectPath,
                            QObject *watched);

    void lookUpInterface();
    void connectProperties();
    using Changes = PropertyChanges;
    /// Adds a property to `changed` if its value is not the last one announced.
    void collect(int propertyIndex, Changes &changed);
    void send(const Changes &changed);

    QDBusConnection connection;
    QString path;
    QString interfaceName;
    QObject *object;
    /// Notify signal's method index to property index.
    QHash<int, int> signalProperties;
    /// Properties changed since the last delivery, in order of first change.
    QVector<int> pending;
    /// What was last announced, of properties whose values can be compared.
    QMap<QString, QVariant> lastValues;

public Q_SLOTS:
    void onChanged();
    void deliverNotifySignal();
};

} // namespace DBus

Q_DECLARE_METATYPE(DBus::PropertyChanges)

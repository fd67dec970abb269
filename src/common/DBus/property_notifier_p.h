#pragma once

#include <QDBusConnection>
#include <QHash>
#include <QMap>
#include <QObject>
#include <QString>
#include <QVariant>
#include <QVector>

namespace DBus {

class PropertyNotifierPrivate : public QObject
{
    Q_OBJECT

public:
    PropertyNotifierPrivate(const QDBusConnection &bus, const QString &objectPath,
                            QObject *watched);

    void lookUpInterface();
    void connectProperties();
    /// Adds a property to `changed` if its value is not the last one announced.
    void collect(int propertyIndex, QVariantMap &changed);
    void send(const QVariantMap &changed);

    QDBusConnection connection;
    QString path;
    QString interfaceName;
    QObject *object;
    /// Notify signal's method index to property index.
    QHash<int, int> signalProperties;
    /// Properties changed since the last delivery, in order of first change.
    QVector<int> pending;
    QMap<QString, QVariant> lastValues;

public Q_SLOTS:
    void onChanged();
    void deliverNotifySignal();
};

} // namespace DBus

#pragma once

#include <QDBusConnection>
#include <QHash>
#include <QMap>
#include <QObject>
#include <QPair>
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
    /// Names and values in the order in which they are to be announced.
    using Changes = QVector<QPair<QString, QVariant>>;
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
    QMap<QString, QVariant> lastValues;

public Q_SLOTS:
    void onChanged();
    void deliverNotifySignal();
};

} // namespace DBus

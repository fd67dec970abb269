#include "common/DBus/property_notifier.h"
#include "common/DBus/property_notifier_p.h"

#include "common/names.h"

#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QDebug>
#include <QMetaClassInfo>
#include <QMetaMethod>
#include <QMetaProperty>

namespace DBus {

namespace {

// Whether values of a type can be compared. Only the framework's own types are, because its
// versions differ in which other types they compare. Values of other types always count as changed.
bool isComparable(int type) { return type < QMetaType::User; }

} // namespace

QDBusArgument &operator<<(QDBusArgument &argument, const PropertyChanges &changes)
{
    argument.beginMap(QMetaType::QString, qMetaTypeId<QDBusVariant>());
    for (const auto &[name, value] : changes.inOrder) {
        argument.beginMapEntry();
        argument << name << QDBusVariant(value);
        argument.endMapEntry();
    }
    argument.endMap();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, PropertyChanges &changes)
{
    argument.beginMap();
    while (!argument.atEnd()) {
        QString name;
        QDBusVariant value;
        argument.beginMapEntry();
        argument >> name >> value;
        argument.endMapEntry();
        changes.inOrder.append({name, value.variant()});
    }
    argument.endMap();
    return argument;
}

PropertyNotifierPrivate::PropertyNotifierPrivate(const QDBusConnection &bus,
                                                 const QString &objectPath, QObject *watched)
    : connection(bus)
    , path(objectPath)
    , object(watched)
{
}

void PropertyNotifierPrivate::lookUpInterface()
{
    const QMetaObject *meta = object->metaObject();
    const int index = meta->indexOfClassInfo("D-Bus Interface");
    if (index < 0) {
        qWarning() << "Missing D_Bus interface tag on class";
        return;
    }
    interfaceName = QString::fromUtf8(meta->classInfo(index).value());
}

void PropertyNotifierPrivate::connectProperties()
{
    const int slot = metaObject()->indexOfSlot("onChanged()");
    if (slot < 0) {
        qWarning() << "Slot onChanged() not found!";
        return;
    }
    const QMetaMethod onChangedSlot = metaObject()->method(slot);
    const QMetaObject *meta = object->metaObject();
    for (int index = meta->propertyOffset(); index < meta->propertyCount(); ++index) {
        const QMetaProperty property = meta->property(index);
        if (!property.hasNotifySignal())
            continue;
        QObject::connect(object, property.notifySignal(), this, onChangedSlot);
        signalProperties.insert(property.notifySignalIndex(), index);
    }
}

void PropertyNotifierPrivate::onChanged()
{
    const int signal = senderSignalIndex();
    if (signal < 0) {
        qWarning() << "onChanged() invoked without a signal?";
        return;
    }
    const auto property = signalProperties.constFind(signal);
    if (property == signalProperties.constEnd()) {
        qWarning() << "Cannot find property for signal";
        return;
    }
    if (pending.contains(*property))
        return;
    const QMetaProperty changed = object->metaObject()->property(*property);
    if (isComparable(changed.userType())
        && changed.read(object) == lastValues.value(QString::fromUtf8(changed.name())))
        return;
    if (pending.isEmpty())
        QMetaObject::invokeMethod(this, "deliverNotifySignal", Qt::QueuedConnection);
    pending.append(*property);
}

void PropertyNotifierPrivate::deliverNotifySignal()
{
    Changes changed;
    for (const int property : qAsConst(pending))
        collect(property, changed);
    pending.clear();
    // Empty when the properties changed back meanwhile.
    if (!changed.inOrder.isEmpty())
        send(changed);
}

void PropertyNotifierPrivate::collect(int propertyIndex, Changes &changed)
{
    const QMetaProperty property = object->metaObject()->property(propertyIndex);
    const QString name = QString::fromUtf8(property.name());
    const QVariant value = property.read(object);
    changed.inOrder.append({name, value});
    if (!isComparable(value.userType()))
        return;
    const auto last = lastValues.constFind(name);
    if (last != lastValues.constEnd() && value == *last)
        changed.inOrder.removeLast();
    else
        lastValues.insert(name, value);
}

void PropertyNotifierPrivate::send(const Changes &changed)
{
    QDBusMessage signal =
        QDBusMessage::createSignal(path, Names::propertiesInterface(), Names::propertiesChanged());
    signal << interfaceName << QVariant::fromValue(changed) << QStringList();
    connection.send(signal);
}

PropertyNotifier::PropertyNotifier(const QDBusConnection &connection, const QString &path,
                                   QObject *object)
    : QObject(object)
    , d(new PropertyNotifierPrivate(connection, path, object))
{
    qDBusRegisterMetaType<PropertyChanges>();
    d->lookUpInterface();
    d->connectProperties();
}

PropertyNotifier::~PropertyNotifier() { delete d; }

void PropertyNotifier::notify(const QStringList &properties)
{
    PropertyNotifierPrivate::Changes changed;
    const QMetaObject *meta = d->object->metaObject();
    for (int index = meta->propertyOffset(); index < meta->propertyCount(); ++index) {
        if (properties.contains(QString::fromUtf8(meta->property(index).name())))
            d->collect(index, changed);
    }
    d->send(changed);
}

} // namespace DBus

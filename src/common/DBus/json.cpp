// JSON in messages of the bus.

#include "common/DBus/plain_value.h"
#include "common/DBus/types.h"

#include <QDBusVariant>
#include <QDebug>

#include <algorithm>

namespace {

// A null is sent as an empty list, because the bus has no null, and the bus library does not send a
// message that holds an invalid variant.
QVariant nullOnTheBus() { return QVariantList(); }

// The bus allows 64 nested containers in a message and disconnects a sender of more. Three are
// reserved for what the sender of the value puts around it: a map, its entry and its variant.
constexpr int mostContainers = 64 - 3;
constexpr int containersOfMember = 3;

// How many bus containers are nested in a value. A member of an object takes three: the map, its
// entry and a variant. An element of an array takes at most two: the array and a variant.
int containersIn(const QJsonValue &value)
{
    int most = 0;
    if (value.isObject()) {
        const QJsonObject object = value.toObject();
        for (const auto &member : object)
            most = std::max(most, containersOfMember + containersIn(member));
    } else if (value.isArray()) {
        const QJsonArray array = value.toArray();
        for (const auto &element : array)
            most = std::max(most, 2 + containersIn(element));
    }
    return most;
}

// An element of a mixed array: every value in it, at any depth, is in a variant of its own.
QVariant plainValue(const QJsonValue &value)
{
    switch (value.type()) {
    case QJsonValue::Bool:
        return value.toBool();
    case QJsonValue::Double:
        return value.toDouble();
    case QJsonValue::String:
        return value.toString();
    case QJsonValue::Array: {
        QVariantList list;
        const QJsonArray array = value.toArray();
        for (const auto &element : array)
            list.append(plainValue(element));
        return list;
    }
    case QJsonValue::Object: {
        QVariantMap map;
        const QJsonObject object = value.toObject();
        for (auto member = object.constBegin(); member != object.constEnd(); ++member)
            map.insert(member.key(), plainValue(member.value()));
        return map;
    }
    case QJsonValue::Null:
    case QJsonValue::Undefined:
        break;
    }
    return nullOnTheBus();
}

void writeMixedArray(QDBusArgument &argument, const QJsonArray &array)
{
    argument.beginArray(qMetaTypeId<QDBusVariant>());
    for (const auto &element : array)
        argument << QDBusVariant(plainValue(element));
    argument.endArray();
}

bool isMixed(const QJsonArray &array)
{
    return std::any_of(array.constBegin(), array.constEnd(), [&array](const QJsonValue &element) {
        return element.type() != array.first().type();
    });
}

template <typename Element>
void writeArrayOf(QDBusArgument &argument, const QJsonArray &array, int elementType,
                  const Element &elementOf)
{
    argument.beginArray(elementType);
    for (const auto &element : array)
        argument << elementOf(element);
    argument.endArray();
}

QJsonValue fromWire(const QVariant &value)
{
    switch (static_cast<QMetaType::Type>(value.userType())) {
    case QMetaType::UChar:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return value.toDouble();
    case QMetaType::QByteArray: {
        QJsonArray bytes;
        const QByteArray array = value.toByteArray();
        for (const char byte : array)
            bytes.append(static_cast<uchar>(byte));
        return bytes;
    }
    default:
        break;
    }
    if (value.userType() == qMetaTypeId<QDBusObjectPath>())
        return value.value<QDBusObjectPath>().path();
    if (value.userType() == qMetaTypeId<QDBusSignature>())
        return value.value<QDBusSignature>().signature();
    return QJsonValue::fromVariant(value);
}

// The text of a map's key. QVariant::toString() would turn a byte into a character, and an object
// path or a signature into an empty text.
QString textOfKey(const QVariant &key)
{
    if (key.userType() == QMetaType::UChar)
        return QString::number(key.toUInt());
    if (key.userType() == qMetaTypeId<QDBusObjectPath>()
        || key.userType() == qMetaTypeId<QDBusSignature>())
        return fromWire(key).toString();
    return DBus::textOf(key);
}

// Reads the content of a variant. Structured content is still marshalled; it may be a variant
// again.
void readUnwrapped(const QVariant &content, QJsonValue &value)
{
    if (content.userType() == qMetaTypeId<QDBusVariant>())
        readUnwrapped(content.value<QDBusVariant>().variant(), value);
    else if (content.userType() == qMetaTypeId<QDBusArgument>())
        content.value<QDBusArgument>() >> value;
    else
        value = fromWire(content);
}

} // namespace

QDBusArgument &operator<<(QDBusArgument &argument, const QJsonValue &value)
{
    switch (value.type()) {
    case QJsonValue::Null:
        argument << QDBusVariant(nullOnTheBus());
        break;
    case QJsonValue::Bool:
        argument << value.toBool();
        break;
    case QJsonValue::Double:
        argument << value.toDouble();
        break;
    case QJsonValue::String:
        argument << value.toString();
        break;
    case QJsonValue::Array:
        argument << value.toArray();
        break;
    case QJsonValue::Object:
        argument << value.toObject();
        break;
    default:
        qWarning() << "Unknown JSON value type";
        break;
    }
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const QJsonArray &array)
{
    if (containersIn(array) > mostContainers) {
        qWarning() << "JSON value is nested too deep for the bus";
        return argument;
    }
    if (array.isEmpty() || isMixed(array)) {
        writeMixedArray(argument, array);
        return argument;
    }
    switch (array.first().type()) {
    case QJsonValue::Bool:
        writeArrayOf(argument, array, QMetaType::Bool, [](const auto &e) { return e.toBool(); });
        break;
    case QJsonValue::Double:
        writeArrayOf(argument, array, QMetaType::Double,
                     [](const auto &e) { return e.toDouble(); });
        break;
    case QJsonValue::String:
        writeArrayOf(argument, array, QMetaType::QString,
                     [](const auto &e) { return e.toString(); });
        break;
    case QJsonValue::Object:
        writeArrayOf(argument, array, qMetaTypeId<QVariantMap>(),
                     [](const auto &e) { return e.toObject(); });
        break;
    case QJsonValue::Array:
        qWarning() << "JSON array of arrays are not supported";
        break;
    default:
        qWarning() << "Unknown JSON value type";
        break;
    }
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const QJsonObject &object)
{
    argument.beginMap(QMetaType::QString, qMetaTypeId<QDBusVariant>());
    for (auto member = object.constBegin(); member != object.constEnd(); ++member) {
        if (containersOfMember + containersIn(member.value()) > mostContainers) {
            qWarning() << "JSON value is nested too deep for the bus";
            continue;
        }
        QDBusArgument content;
        if (member.value().isNull())
            content << nullOnTheBus().toList();
        else
            content << member.value();
        // A value that could not be written has been logged. It is left out, because a variant must
        // not be empty.
        if (content.currentSignature().isEmpty())
            continue;
        argument.beginMapEntry();
        argument << member.key() << QDBusVariant(QVariant::fromValue(content));
        argument.endMapEntry();
    }
    argument.endMap();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, QJsonValue &value)
{
    switch (argument.currentType()) {
    case QDBusArgument::BasicType:
        value = fromWire(argument.asVariant());
        break;
    case QDBusArgument::VariantType:
        readUnwrapped(argument.asVariant(), value);
        break;
    case QDBusArgument::ArrayType: {
        QJsonArray array;
        argument >> array;
        value = array;
        break;
    }
    case QDBusArgument::MapType: {
        QJsonObject object;
        argument >> object;
        value = object;
        break;
    }
    case QDBusArgument::StructureType:
        qWarning() << "Unsupported type: " << argument.currentSignature();
        // Skipped, so that the following values can be read.
        argument.beginStructure();
        argument.endStructure();
        break;
    default:
        qWarning() << "Unsupported type: " << argument.currentSignature();
        break;
    }
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, QJsonArray &array)
{
    array = QJsonArray();
    argument.beginArray();
    while (!argument.atEnd()) {
        QJsonValue element;
        argument >> element;
        array.append(element);
    }
    argument.endArray();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, QJsonObject &object)
{
    object = QJsonObject();
    argument.beginMap();
    while (!argument.atEnd()) {
        QJsonValue value;
        argument.beginMapEntry();
        const QString key = textOfKey(argument.asVariant());
        argument >> value;
        argument.endMapEntry();
        object.insert(key, value);
    }
    argument.endMap();
    return argument;
}

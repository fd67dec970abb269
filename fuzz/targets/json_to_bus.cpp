// JSON that is sent over the bus and read there is unchanged, except for values that the bus has no
// form for: a null becomes an empty list, and a list of lists is left out when it is the value of a
// member. A number is sent as a double, although Qt 6 also keeps integers that a double rounds.

#include "common/DBus/types.h"
#include "fuzz/support/property.h"
#include "fuzz/support/scratch.h"
#include "fuzz/support/wire.h"

#include <QDBusVariant>
#include <QJsonDocument>

#include <algorithm>

namespace {

QJsonValue plain(const QJsonValue &value)
{
    if (value.isNull())
        return QJsonArray();
    if (value.isDouble())
        return value.toDouble();
    if (value.isArray()) {
        QJsonArray read;
        const QJsonArray array = value.toArray();
        for (const auto &element : array)
            read.append(plain(element));
        return read;
    }
    QJsonObject object = value.toObject();
    for (auto member = object.begin(); member != object.end(); ++member)
        *member = plain(*member);
    return value.isObject() ? object : value;
}

// Undefined for a value that the bus has no form for.
QJsonValue expected(const QJsonValue &value)
{
    const QJsonArray array = value.toArray();
    const auto isOfFirstType = [&](const QJsonValue &e) { return e.type() == array[0].type(); };
    if (value.isArray()) {
        if (array.isEmpty() || !std::all_of(array.begin(), array.end(), isOfFirstType))
            return plain(value);
        if (array[0].isArray() || array[0].isNull())
            return QJsonValue::Undefined;
        QJsonArray read;
        for (const auto &element : array)
            read.append(expected(element));
        return read;
    }
    if (!value.isObject())
        return plain(value);
    QJsonObject read;
    const QJsonObject object = value.toObject();
    for (auto member = object.begin(); member != object.end(); ++member) {
        const QJsonValue content = expected(*member);
        if (!content.isUndefined())
            read.insert(member.key(), content);
    }
    return read;
}

QByteArray::size_type depthOf(const QByteArray &text) { return text.count('[') + text.count('{'); }

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray text(reinterpret_cast<const char *>(data), static_cast<int>(size));
    // The parser accepts bytes that are no valid text, but the bus does not.
    if (QString::fromUtf8(text).toUtf8() != text)
        return 0;
    const QJsonDocument document = QJsonDocument::fromJson(text);
    // Values nested deeper than the bus allows are left out, and texts on the bus have no zero
    // bytes.
    if (!document.isObject() || depthOf(text) > 20 || text.contains("\\u") || text.contains('\0'))
        return 0;
    (void)Scratch::instance();
    QDBusArgument written;
    written << document.object();
    const QDBusMessage message = Wire::instance().sentAndReceived({QVariant::fromValue(written)});
    FUZZ_PROPERTY(message.arguments().size() == 1, "an object can be sent");
    QJsonValue read;
    message.arguments().constFirst().value<QDBusArgument>() >> read;
    FUZZ_PROPERTY(read == expected(document.object()), "what is written is read");
    return 0;
}

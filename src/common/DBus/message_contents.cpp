#include "common/DBus/message_contents.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusSignature>
#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>
#include <QStringList>

namespace DBus {

namespace {

// What a value may take besides its content: padding, a length, a closing zero.
constexpr qint64 overhead = 8;
// A variant names the type of its content.
constexpr qint64 longestSignature = 256;

qint64 sizeOfText(const QString &text) { return text.toUtf8().size() + overhead; }

/// Walks through values and adds up what it finds.
class Walk
{
public:
    void addArgument(const QVariant &argument);
    [[nodiscard]] const MessageContents &found() const { return m_found; }

private:
    void add(const QVariant &value);
    void addNumber(int width) { m_found.size += width; }
    void addText(const QString &text) { m_found.size += sizeOfText(text); }
    void addTexts(const QStringList &texts);
    void addVariant(const QVariant &content);
    void addList(const QVariantList &list);
    void addMap(const QVariantMap &map);
    void addRecord(const QDBusArgument &argument);
    void addMember(const QDBusArgument &argument);

    MessageContents m_found;
};

void Walk::addArgument(const QVariant &argument)
{
    if (argument.userType() == qMetaTypeId<QDBusUnixFileDescriptor>()) {
        ++m_found.descriptors;
        m_found.size += overhead;
        return;
    }
    const qint64 before = m_found.size;
    add(argument);
    // Each may need padding.
    m_found.size = qMax(m_found.size, before + overhead);
}

void Walk::addTexts(const QStringList &texts)
{
    m_found.size += overhead;
    for (const QString &text : texts)
        addText(text);
}

void Walk::addVariant(const QVariant &content)
{
    const bool isRecord = content.userType() == qMetaTypeId<QDBusArgument>();
    m_found.size += isRecord ? longestSignature : overhead;
    add(content);
}

void Walk::addList(const QVariantList &list)
{
    m_found.size += overhead;
    for (const QVariant &element : list)
        addVariant(element);
}

void Walk::addMap(const QVariantMap &map)
{
    m_found.size += overhead;
    for (auto entry = map.cbegin(); entry != map.cend(); ++entry) {
        m_found.size += overhead;
        addText(entry.key());
        addVariant(entry.value());
    }
}

void Walk::addMember(const QDBusArgument &argument)
{
    const qint64 before = m_found.size;
    addRecord(argument);
    m_found.size = qMax(m_found.size, before + overhead);
}

void Walk::addRecord(const QDBusArgument &argument)
{
    const QDBusArgument::ElementType type = argument.currentType();
    if (type == QDBusArgument::BasicType || type == QDBusArgument::VariantType) {
        add(argument.asVariant());
        return;
    }
    m_found.size += overhead;
    if (type == QDBusArgument::ArrayType) {
        argument.beginArray();
        while (!argument.atEnd())
            addRecord(argument);
        argument.endArray();
    } else if (type == QDBusArgument::MapType) {
        argument.beginMap();
        while (!argument.atEnd()) {
            argument.beginMapEntry();
            addMember(argument);
            addMember(argument);
            argument.endMapEntry();
        }
        argument.endMap();
    } else if (type == QDBusArgument::StructureType) {
        argument.beginStructure();
        while (!argument.atEnd())
            addMember(argument);
        argument.endStructure();
    }
}

void Walk::add(const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::UChar:
        return addNumber(1);
    case QMetaType::Short:
    case QMetaType::UShort:
        return addNumber(2);
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
        return addNumber(4);
    case QMetaType::QString:
        return addText(value.toString());
    case QMetaType::QByteArray:
        m_found.size += value.toByteArray().size() + overhead;
        return;
    case QMetaType::QStringList:
        return addTexts(value.toStringList());
    case QMetaType::QVariantList:
        return addList(value.toList());
    case QMetaType::QVariantMap:
        return addMap(value.toMap());
    default:
        break;
    }
    if (value.userType() == qMetaTypeId<QDBusVariant>()) {
        addVariant(value.value<QDBusVariant>().variant());
    } else if (value.userType() == qMetaTypeId<QDBusArgument>()) {
        // A copy, so that whoever reads the value next begins where this began.
        const auto argument = value.value<QDBusArgument>();
        addRecord(argument);
    } else if (value.userType() == qMetaTypeId<QDBusObjectPath>()) {
        addText(value.value<QDBusObjectPath>().path());
    } else if (value.userType() == qMetaTypeId<QDBusSignature>()) {
        m_found.size += longestSignature;
    } else if (value.userType() == qMetaTypeId<QDBusUnixFileDescriptor>()) {
        m_found.hasNestedDescriptors = true;
    } else {
        addNumber(overhead);
    }
}

} // namespace

MessageContents contentsOf(const QDBusMessage &message)
{
    Walk walk;
    const QVariantList arguments = message.arguments();
    for (const QVariant &argument : arguments)
        walk.addArgument(argument);
    MessageContents contents = walk.found();
    const QStringList header{message.service(),  message.path(),      message.interface(),
                             message.member(),   message.errorName(), message.errorMessage(),
                             message.signature()};
    for (const QString &text : header)
        contents.size += sizeOfText(text);
    return contents;
}

} // namespace DBus

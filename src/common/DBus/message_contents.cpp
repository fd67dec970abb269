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

// Bytes that a value may take besides its content: padding, length, terminating zero.
constexpr qint64 overhead = 8;
// Longest signature of a variant's content, in bytes.
constexpr qint64 longestSignature = 256;

qint64 sizeOfText(const QString &text) { return text.toUtf8().size() + overhead; }

/// Visits all values and adds up their sizes and numbers.
class Walk
{
public:
    void addArgument(const QVariant &argument);
    [[nodiscard]] const MessageContents &found() const { return m_found; }
    /// True when the message is too large, so that the rest need not be visited.
    [[nodiscard]] bool isDone() const { return m_found.isTooLarge(); }

private:
    void add(const QVariant &value);
    void addNumber(qint64 width)
    {
        ++m_found.values;
        m_found.size += width;
    }
    void addText(const QString &text)
    {
        ++m_found.values;
        m_found.size += sizeOfText(text);
    }
    template <typename Elements, typename AddOne>
    void addEach(const Elements &elements, const AddOne &addOne);
    bool addPlain(const QVariant &value);
    void addVariant(const QVariant &content);
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
    // Each argument may need padding.
    m_found.size = qMax(m_found.size, before + overhead);
}

template <typename Elements, typename AddOne>
void Walk::addEach(const Elements &elements, const AddOne &addOne)
{
    m_found.size += overhead;
    for (auto element = elements.cbegin(); element != elements.cend() && !isDone(); ++element)
        addOne(element);
}

void Walk::addVariant(const QVariant &content)
{
    const bool isRecord = content.userType() == qMetaTypeId<QDBusArgument>();
    m_found.size += isRecord ? longestSignature : overhead;
    add(content);
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
        while (!argument.atEnd() && !isDone())
            addRecord(argument);
        argument.endArray();
    } else if (type == QDBusArgument::MapType) {
        argument.beginMap();
        while (!argument.atEnd() && !isDone()) {
            argument.beginMapEntry();
            addMember(argument);
            addMember(argument);
            argument.endMapEntry();
        }
        argument.endMap();
    } else if (type == QDBusArgument::StructureType) {
        argument.beginStructure();
        while (!argument.atEnd() && !isDone())
            addMember(argument);
        argument.endStructure();
    }
}

// Handles Qt's own types; returns false for the types of the bus.
bool Walk::addPlain(const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::UChar:
        addNumber(1);
        return true;
    case QMetaType::Short:
    case QMetaType::UShort:
        addNumber(2);
        return true;
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
        addNumber(4);
        return true;
    case QMetaType::QString:
        addText(value.toString());
        return true;
    case QMetaType::QByteArray:
        addNumber(overhead + value.toByteArray().size());
        return true;
    case QMetaType::QStringList:
        addEach(value.toStringList(), [this](const auto &text) { addText(*text); });
        return true;
    case QMetaType::QVariantList:
        addEach(value.toList(), [this](const auto &element) { addVariant(*element); });
        return true;
    case QMetaType::QVariantMap:
        addEach(value.toMap(), [this](const auto &entry) {
            m_found.size += overhead;
            addText(entry.key());
            addVariant(entry.value());
        });
        return true;
    default:
        return false;
    }
}

void Walk::add(const QVariant &value)
{
    if (addPlain(value))
        return;
    if (value.userType() == qMetaTypeId<QDBusVariant>()) {
        addVariant(value.value<QDBusVariant>().variant());
    } else if (value.userType() == qMetaTypeId<QDBusArgument>()) {
        // A copy, because reading moves the position in the argument.
        const auto argument = value.value<QDBusArgument>();
        // The framework copies a marshalled record unchanged, so an empty signature inside it does
        // no harm.
        const bool hadEmptySignature = m_found.hasEmptySignature;
        addRecord(argument);
        m_found.hasEmptySignature = hadEmptySignature;
    } else if (value.userType() == qMetaTypeId<QDBusObjectPath>()) {
        addText(value.value<QDBusObjectPath>().path());
    } else if (value.userType() == qMetaTypeId<QDBusSignature>()) {
        addNumber(longestSignature);
        if (value.value<QDBusSignature>().signature().isEmpty())
            m_found.hasEmptySignature = true;
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
    for (auto argument = arguments.cbegin(); argument != arguments.cend() && !walk.isDone();
         ++argument)
        walk.addArgument(*argument);
    MessageContents contents = walk.found();
    const QStringList header{message.service(),  message.path(),      message.interface(),
                             message.member(),   message.errorName(), message.errorMessage(),
                             message.signature()};
    for (const QString &text : header)
        contents.size += sizeOfText(text);
    return contents;
}

} // namespace DBus

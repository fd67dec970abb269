#include "fuzz/support/random_message.h"

#include <dbus/dbus.h>

#include <cstring>

namespace {

const char *const texts[] = {"",
                             "User",
                             "appuser",
                             "root",
                             "CGroups",
                             "Params",
                             "Permissions",
                             "Environment",
                             "Weight",
                             "CPULimit",
                             "Homeless",
                             "DBusService",
                             "Autostart",
                             "MainPID",
                             "ActiveState",
                             "SubState",
                             "active",
                             "running",
                             "failed",
                             "enabled",
                             "Sync",
                             "com.example.Notes",
                             "com.example.Notes.task_sync",
                             "ov_task.com.example.Notes.task_sync.service",
                             "org.freedesktop.systemd1.Unit",
                             "org.zarn.Orvane.TaskInvokerSession1",
                             "org.zarn.am.Autostart",
                             "TaskInvoker1",
                             "MemoryMax",
                             "A=1",
                             "..",
                             "/org/zarn/am"};

constexpr char unit[] = "/org/freedesktop/systemd1/unit/"
                        "ov_5ftask_2ecom_2eexample_2eNotes_2etask_5fsync_2eservice";

const char *const paths[] = {"/", "/org/zarn/am", "/org/zarn/Orvane/TaskInvokerSessions/Sync",
                             "/org/freedesktop/systemd1/job/5", unit};

// The system passes at most 253 file descriptors with a message, and the bus library closes the
// connection of one that has more. Together these limits are lower, because an array and a variant
// that have begun are completed.
constexpr int mostDescriptorsInSignature = 100;
constexpr int mostDescriptorsInArrays = 120;

template <int size>
const char *oneOf(const char *const (&words)[size], Input &input)
{
    return words[input.below(size)];
}

void appendType(Input &input, int depth, QByteArray &signature)
{
    // The basic types, then the containers. Values at the greatest depth contain no containers.
    static const char basic[] = "sssybnqiuxtdogh";
    constexpr int count = sizeof basic - 1;
    const int choice = input.below(depth > 0 ? count + 6 : count);
    if (choice < count) {
        signature += basic[choice];
    } else if (choice == count) {
        signature += "a{sv}";
    } else if (choice == count + 1) {
        signature += 'v';
    } else if (choice == count + 2) {
        signature += "a{s";
        appendType(input, depth - 1, signature);
        signature += '}';
    } else if (choice == count + 3) {
        signature += '(';
        for (int members = 1 + input.below(3); members > 0; --members)
            appendType(input, depth - 1, signature);
        signature += ')';
    } else {
        signature += 'a';
        appendType(input, depth - 1, signature);
    }
}

/// Appends values. The deeper a value is, the fewer elements it has.
class Values
{
public:
    explicit Values(Input &input)
        : m_input(input)
    {
    }
    void append(DBusMessageIter *to, DBusSignatureIter *type, int depth);

private:
    void appendBasic(DBusMessageIter *to, int type);
    void appendText(DBusMessageIter *to, int type);
    void appendArray(DBusMessageIter *to, DBusSignatureIter *type, int depth);
    void appendVariant(DBusMessageIter *to, int depth);
    void appendMembers(DBusMessageIter *to, DBusSignatureIter *type, int depth);

    Input &m_input;
    int m_descriptors = 0;
};

void Values::append(DBusMessageIter *to, DBusSignatureIter *type, int depth)
{
    switch (const int code = dbus_signature_iter_get_current_type(type)) {
    case DBUS_TYPE_ARRAY:
        return appendArray(to, type, depth);
    case DBUS_TYPE_VARIANT:
        return appendVariant(to, depth);
    case DBUS_TYPE_STRUCT:
    case DBUS_TYPE_DICT_ENTRY:
        return appendMembers(to, type, depth);
    case DBUS_TYPE_STRING:
    case DBUS_TYPE_OBJECT_PATH:
    case DBUS_TYPE_SIGNATURE:
        return appendText(to, code);
    default:
        return appendBasic(to, code);
    }
}

void Values::appendBasic(DBusMessageIter *to, int type)
{
    DBusBasicValue value;
    std::memset(&value, 0, sizeof value);
    if (type == DBUS_TYPE_BOOLEAN)
        value.bool_val = m_input.byte() & 1U;
    else if (type == DBUS_TYPE_UNIX_FD)
        value.fd = 2;
    else
        value.u64 = m_input.number(1 + m_input.below(8));
    m_descriptors += type == DBUS_TYPE_UNIX_FD ? 1 : 0;
    dbus_message_iter_append_basic(to, type, &value);
}

void Values::appendText(DBusMessageIter *to, int type)
{
    QByteArray text;
    if (type == DBUS_TYPE_SIGNATURE)
        text = randomSignature(m_input, 2);
    else if (type == DBUS_TYPE_OBJECT_PATH)
        text = oneOf(paths, m_input);
    else if (m_input.below(4) != 0)
        text = oneOf(texts, m_input);
    else
        text = m_input.text().remove(QChar(0)).left(1000).toUtf8();
    const char *characters = text.constData();
    if (type == DBUS_TYPE_STRING && dbus_validate_utf8(characters, nullptr) == FALSE)
        characters = "";
    dbus_message_iter_append_basic(to, type, &characters);
}

void Values::appendArray(DBusMessageIter *to, DBusSignatureIter *type, int depth)
{
    DBusSignatureIter element;
    dbus_signature_iter_recurse(type, &element);
    char *signature = dbus_signature_iter_get_signature(&element);
    DBusMessageIter array;
    dbus_message_iter_open_container(to, DBUS_TYPE_ARRAY, signature, &array);
    for (int count = m_input.below(depth < 3 ? 5 : 2);
         count > 0 && m_descriptors < mostDescriptorsInArrays; --count)
        append(&array, &element, depth + 1);
    dbus_message_iter_close_container(to, &array);
    dbus_free(signature);
}

void Values::appendVariant(DBusMessageIter *to, int depth)
{
    QByteArray signature;
    if (m_descriptors < mostDescriptorsInArrays)
        appendType(m_input, depth < 3 ? 2 : 0, signature);
    else
        signature = "s";
    DBusSignatureIter type;
    dbus_signature_iter_init(&type, signature.constData());
    DBusMessageIter variant;
    dbus_message_iter_open_container(to, DBUS_TYPE_VARIANT, signature.constData(), &variant);
    append(&variant, &type, depth + 1);
    dbus_message_iter_close_container(to, &variant);
}

void Values::appendMembers(DBusMessageIter *to, DBusSignatureIter *type, int depth)
{
    DBusSignatureIter member;
    dbus_signature_iter_recurse(type, &member);
    DBusMessageIter record;
    dbus_message_iter_open_container(to, dbus_signature_iter_get_current_type(type), nullptr,
                                     &record);
    do
        append(&record, &member, depth + 1);
    while (dbus_signature_iter_next(&member) != FALSE);
    dbus_message_iter_close_container(to, &record);
}

} // namespace

QByteArray randomSignature(Input &input, int types)
{
    QByteArray signature;
    for (int count = input.below(types + 1); count > 0; --count)
        appendType(input, 4, signature);
    const bool isValid = dbus_signature_validate(signature.constData(), nullptr) != FALSE
        && signature.count('h') <= mostDescriptorsInSignature;
    return isValid ? signature : QByteArray();
}

void appendArguments(DBusMessage *message, const QByteArray &signature, Input &input)
{
    if (signature.isEmpty())
        return;
    DBusMessageIter arguments;
    dbus_message_iter_init_append(message, &arguments);
    DBusSignatureIter type;
    dbus_signature_iter_init(&type, signature.constData());
    Values values(input);
    do
        values.append(&arguments, &type, 0);
    while (dbus_signature_iter_next(&type) != FALSE);
}

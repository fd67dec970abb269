#include "fuzz/bus/random_client.h"

#include "fuzz/support/random_message.h"

#include <dbus/dbus.h>

namespace {

const char *const daemonName = "org.zarn.Orvane";

const char *const objects[] = {"/org/zarn/Orvane/TaskInvoker1",
                               "/org/zarn/Orvane/TaskInvokerSessions/Sync",
                               "/org/zarn/Orvane/TaskInvokerSessions/Sync",
                               "/org/zarn/Orvane/SystemControl1",
                               "/org/zarn/Orvane/Control1",
                               "/org/zarn/am",
                               "/org/zarn/Teller/Hooks",
                               "/org/zarn/Orvane/TaskInvokerSessions/Other",
                               "/org/freedesktop/systemd1/job/5",
                               "/"};

// Interface, method and signature of the arguments.
const char *const methods[][3] = {{"org.zarn.Orvane.TaskInvoker1", "RegisterInvoker", "s"},
                                  {"org.zarn.Orvane.TaskInvokerSession1", "Start", "sa{sv}a{sv}"},
                                  {"org.zarn.Orvane.TaskInvokerSession1", "Start", "sa{sv}a{sv}"},
                                  {"org.zarn.Orvane.TaskInvokerSession1", "Stop", "s"},
                                  {"org.zarn.Orvane.TaskInvokerSession1", "CloseSession", ""},
                                  {"org.zarn.am.Autostart", "SetEnabled", "isb"},
                                  {"org.zarn.am.Autostart", "GetEnabled", "i"},
                                  {"org.zarn.Teller.Hooks", "OnRemove", "s"},
                                  {"org.freedesktop.DBus.Properties", "Get", "ss"},
                                  {"org.freedesktop.DBus.Properties", "GetAll", "s"},
                                  {"org.freedesktop.DBus.Properties", "Set", "ssv"},
                                  {"org.freedesktop.DBus.Introspectable", "Introspect", ""},
                                  {"org.freedesktop.DBus.Peer", "Ping", ""},
                                  {"org.zarn.Other", "Method", "v"}};

const char *const owners[] = {"/org/zarn/Orvane/TaskInvoker1",
                              "/org/zarn/Orvane/TaskInvokerSessions/Sync",
                              "/org/zarn/Orvane/TaskInvokerSessions/Sync",
                              "/org/zarn/Orvane/TaskInvokerSessions/Sync",
                              "/org/zarn/Orvane/TaskInvokerSessions/Sync",
                              "/org/zarn/am",
                              "/org/zarn/am",
                              "/org/zarn/Teller/Hooks"};

QByteArray textOf(const Message &message)
{
    const char *interface = dbus_message_get_interface(message.get());
    return QByteArray(dbus_message_get_path(message.get())) + ' '
        + (interface != nullptr ? interface : "-") + ' ' + dbus_message_get_member(message.get())
        + ' ' + dbus_message_get_signature(message.get());
}

} // namespace

RandomClient::RandomClient(const QByteArray &address, Random &random)
    : BusEnd(address)
    , m_random(random)
{
}

void RandomClient::registerFor(const char *taskType)
{
    const Message message(
        dbus_message_new_method_call(daemonName, objects[0], methods[0][0], methods[0][1]));
    dbus_message_append_args(message.get(), DBUS_TYPE_STRING, &taskType, DBUS_TYPE_INVALID);
    call(message);
}

void RandomClient::call(const Message &message)
{
    ++m_messages;
    const unsigned serial = send(message);
    if (dbus_message_get_no_reply(message.get()) != FALSE)
        return;
    // When a forwarded session is closed, its answer may get lost.
    const bool isAwaited = dbus_message_has_member(message.get(), "CloseSession") == FALSE;
    m_calls.insert(serial, {textOf(message), 0, isAwaited});
    m_unanswered += isAwaited ? 1 : 0;
}

QByteArray RandomClient::unansweredCalls() const
{
    QByteArray text;
    for (const Call &call : m_calls) {
        if (call.isAwaited && call.answers == 0)
            text += call.text + '\n';
    }
    return text;
}

void RandomClient::speak()
{
    const unsigned which = static_cast<unsigned>(m_random() % (sizeof methods / sizeof *methods));
    const auto &[interface, member, expected] = methods[which];
    const bool isOwn = which < sizeof owners / sizeof *owners && m_random() % 4 != 0;
    const char *path =
        isOwn ? owners[which] : objects[m_random() % (sizeof objects / sizeof *objects)];
    const Message message(dbus_message_new_method_call(
        daemonName, path, m_random() % 8 == 0 ? nullptr : interface, member));
    const QByteArray bytes = randomBytes(m_random, 600);
    Input input(reinterpret_cast<const uint8_t *>(bytes.constData()),
                static_cast<size_t>(bytes.size()));
    appendArguments(message.get(),
                    m_random() % 4 != 0 ? QByteArray(expected) : randomSignature(input, 4), input);
    dbus_message_set_no_reply(message.get(), m_random() % 10 == 0 ? TRUE : FALSE);
    call(message);
}

void RandomClient::handle(const Message &message)
{
    const int type = dbus_message_get_type(message.get());
    if (type != DBUS_MESSAGE_TYPE_METHOD_RETURN && type != DBUS_MESSAGE_TYPE_ERROR)
        return;
    const auto call = m_calls.find(dbus_message_get_reply_serial(message.get()));
    if (call == m_calls.end())
        return;
    if (++call->answers > 1)
        ++m_answeredTwice;
    else if (call->isAwaited)
        --m_unanswered;
    if (type == DBUS_MESSAGE_TYPE_ERROR)
        ++m_failures;
}

#include "fuzz/bus/random_peer.h"

#include "fuzz/support/property.h"
#include "fuzz/support/random_message.h"

#include <dbus/dbus.h>

#include <cstring>

namespace {

using Clock = std::chrono::steady_clock;

// Signatures of the answers to the methods that the daemon calls.
const char *const answers[][2] = {{"ListUnitsByPatterns", "a(ssssssouso)"},
                                  {"ListUnitFilesByPatterns", "a(ss)"},
                                  {"StartUnit", "o"},
                                  {"StopUnit", "o"},
                                  {"Get", "v"},
                                  {"users", "a(ssu)"},
                                  {"RegisterInvoker", "oa{sv}"},
                                  {"Introspect", "s"},
                                  {"Start", "i"}};

const char *const errors[] = {
    "org.freedesktop.DBus.Error.AccessDenied", "org.freedesktop.DBus.Error.NoReply",
    "org.freedesktop.systemd1.NoSuchUnit", "org.zarn.Orvane.Error.Busy", "a.b"};

const char *const units[] = {
    "/org/freedesktop/systemd1/unit/ov_5ftask_2ecom_2eexample_2eNotes_2etask_5fsync_2eservice",
    "/org/freedesktop/systemd1/unit/other_2eservice", "/org/freedesktop/systemd1",
    "/org/zarn/Orvane/Control1"};

const char *const signals[][3] = {
    {"org.freedesktop.DBus.Properties", "PropertiesChanged", "sa{sv}as"},
    {"org.freedesktop.DBus.Properties", "PropertiesChanged", nullptr},
    {"org.freedesktop.systemd1.Manager", "JobRemoved", "uoss"},
    {"org.freedesktop.systemd1.Manager", "Reloading", "b"},
    {"org.freedesktop.DBus", "NameOwnerChanged", "sss"}};

QByteArray expectedSignature(const char *method)
{
    for (const auto &answer : answers) {
        if (std::strcmp(answer[0], method) == 0)
            return answer[1];
    }
    return {};
}

template <typename Element, std::size_t size>
const Element &oneOf(const Element (&elements)[size], Random &random)
{
    return elements[random() % size];
}

} // namespace

RandomPeer::RandomPeer(const QByteArray &address, const char *name, Random &random)
    : BusEnd(address)
    , m_random(random)
{
    FUZZ_PROPERTY(claim(name), "a peer has its name");
}

void RandomPeer::handle(const Message &message)
{
    if (dbus_message_get_type(message.get()) != DBUS_MESSAGE_TYPE_METHOD_CALL
        || dbus_message_get_no_reply(message.get()) != FALSE)
        return;
    // Some answers are sent at once, the others in another order than that of the calls.
    const auto delay = std::chrono::milliseconds(m_random() % 2 == 0 ? 0 : m_random() % 30);
    m_waiting.push_back({Clock::now() + delay, answerTo(message)});
}

Message RandomPeer::answerTo(const Message &call)
{
    const auto kind = m_random() % 10;
    if (kind == 0)
        return Message(dbus_message_new_error(call.get(), oneOf(errors, m_random), "no"));
    Message answer(dbus_message_new_method_return(call.get()));
    const QByteArray bytes = randomBytes(m_random, 600);
    Input input(reinterpret_cast<const uint8_t *>(bytes.constData()),
                static_cast<size_t>(bytes.size()));
    const char *method = dbus_message_get_member(call.get());
    QByteArray signature = kind < 7 ? expectedSignature(method) : randomSignature(input, 4);
    // With an empty answer the daemon would never answer a registration, so that the answer gets an
    // argument.
    if (signature.isEmpty() && std::strcmp(method, "RegisterInvoker") == 0)
        signature = "s";
    appendArguments(answer.get(), signature, input);
    return answer;
}

void RandomPeer::speak()
{
    const auto now = Clock::now();
    for (std::size_t left = m_waiting.size(); left > 0; --left) {
        Answer answer = std::move(m_waiting.front());
        m_waiting.pop_front();
        if (answer.due > now) {
            m_waiting.push_back(std::move(answer));
            continue;
        }
        send(answer.message);
        ++m_answered;
    }
    if (m_random() % 20 != 0)
        return;
    const auto &[interface, member, signature] = oneOf(signals, m_random);
    const Message signal(dbus_message_new_signal(oneOf(units, m_random), interface, member));
    const QByteArray bytes = randomBytes(m_random, 300);
    Input input(reinterpret_cast<const uint8_t *>(bytes.constData()),
                static_cast<size_t>(bytes.size()));
    appendArguments(signal.get(),
                    signature != nullptr ? QByteArray(signature) : randomSignature(input, 4),
                    input);
    send(signal);
}

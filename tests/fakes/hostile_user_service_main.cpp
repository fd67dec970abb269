// The per-user service as an attacker would write it: it sends what the framework refuses to send.
// The member of a call below /org/zarn/Orvane says what it does:
//   EmptySignature     answers with a signature that names no type
//   EmptyInVariant     the same, inside the map of a record
//   Descriptor         answers with a descriptor
//   NestedDescriptor   answers with descriptors inside other values
//   Huge, argument i   answers with a text of that length
//   Never              does not answer
//   Emit, argument s   emits PropertiesChanged of Control1 with a body of that kind, then answers
//   Flood, argument i  emits so many genuine ones, then answers
//   RegisterInvoker    answers with the path that the type names after "=", and an empty map
//   Pid                answers with its process id
//   anything else      answers with nothing

#include <systemd/sd-bus.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

namespace {

// The bus accepts messages that are a little larger.
constexpr int hugeLength = 30 * 1000 * 1000;

void check(int result, const char *what)
{
    if (result >= 0)
        return;
    std::fprintf(stderr, "hostile-user-service: %s: %s\n", what, std::strerror(-result));
    std::exit(1);
}

void appendBody(sd_bus_message *signal, const std::string &kind)
{
    int result = 0;
    if (kind == "nothing")
        return;
    if (kind == "numbers")
        result = sd_bus_message_append(signal, "iii", 1, 2, 3);
    else if (kind == "structure")
        result = sd_bus_message_append(signal, "(ss)(i)v", "a", "b", 5, "s", "c");
    else if (kind == "other map")
        result = sd_bus_message_append(signal, "sa{ss}as", "a.b", 1, "k", "v", 0);
    else if (kind == "variant for a map")
        result = sd_bus_message_append(signal, "svas", "a.b", "i", 5, 0);
    else if (kind == "array of numbers")
        result = sd_bus_message_append(signal, "sa{sv}ai", "a.b", 0, 1, 7);
    else if (kind == "one more argument")
        result = sd_bus_message_append(signal, "sa{sv}ass", "a.b", 0, 0, "more");
    else if (kind == "empty signature")
        result = sd_bus_message_append(signal, "sa{sv}as", "a.b", 1, "k", "g", "", 0);
    else if (kind == "descriptor")
        result = sd_bus_message_append(signal, "sa{sv}as", "a.b", 1, "k", "h", STDERR_FILENO, 0);
    else if (kind == "huge")
        result = sd_bus_message_append(signal, "sa{sv}as", "a.b", 1, "k", "s",
                                       std::string(hugeLength, 'x').c_str(), 0);
    else if (kind == "genuine")
        result = sd_bus_message_append(signal, "sa{sv}as", "genuine", 1, "k", "i", 5, 0);
    else
        result = -EINVAL;
    check(result, kind.c_str());
}

void emitChange(sd_bus *bus, const std::string &kind)
{
    sd_bus_message *signal = nullptr;
    check(sd_bus_message_new_signal(bus, &signal, "/org/zarn/Orvane/Control1",
                                    "org.freedesktop.DBus.Properties", "PropertiesChanged"),
          "new signal");
    appendBody(signal, kind);
    check(sd_bus_send(bus, signal, nullptr), "send signal");
    sd_bus_message_unref(signal);
}

int reply(sd_bus_message *call, const char *types, ...)
{
    sd_bus_message *answer = nullptr;
    check(sd_bus_message_new_method_return(call, &answer), "new reply");
    va_list arguments;
    va_start(arguments, types);
    check(sd_bus_message_appendv(answer, types, arguments), "append");
    va_end(arguments);
    const int result = sd_bus_send(nullptr, answer, nullptr);
    sd_bus_message_unref(answer);
    return result < 0 ? result : 1;
}

std::string textOf(sd_bus_message *call)
{
    const char *text = "";
    check(sd_bus_message_read(call, "s", &text), "read");
    return text;
}

int numberOf(sd_bus_message *call)
{
    int number = 0;
    check(sd_bus_message_read(call, "i", &number), "read");
    return number;
}

int onCall(sd_bus_message *call, void *, sd_bus_error *)
{
    const std::string member = sd_bus_message_get_member(call);
    if (member == "EmptySignature")
        return reply(call, "g", "");
    if (member == "EmptyInVariant")
        return reply(call, "(sa{sv})", "x", 1, "k", "g", "");
    if (member == "Descriptor")
        return reply(call, "h", STDERR_FILENO);
    if (member == "NestedDescriptor")
        return reply(call, "(h)a{sv}", STDERR_FILENO, 1, "k", "h", STDERR_FILENO);
    if (member == "Huge")
        return reply(call, "s", std::string(static_cast<std::size_t>(numberOf(call)), 'x').c_str());
    if (member == "Never")
        return 1;
    if (member == "Pid")
        return reply(call, "i", static_cast<int>(getpid()));
    if (member == "Emit")
        emitChange(sd_bus_message_get_bus(call), textOf(call));
    if (member == "Flood") {
        for (int left = numberOf(call); left > 0; --left)
            emitChange(sd_bus_message_get_bus(call), "genuine");
    }
    if (member == "RegisterInvoker") {
        const std::string type = textOf(call);
        return reply(call, "oa{sv}", type.substr(type.find('=') + 1).c_str(), 0);
    }
    return reply(call, "");
}

} // namespace

int main()
{
    sd_bus *bus = nullptr;
    check(sd_bus_open_system(&bus), "connect");
    check(sd_bus_add_fallback(bus, nullptr, "/org/zarn/Orvane", onCall, nullptr), "serve");
    check(sd_bus_request_name(bus, "org.zarn.Orvane.User", 0), "claim the name");
    for (;;) {
        const int handled = sd_bus_process(bus, nullptr);
        check(handled, "process");
        if (handled == 0)
            check(sd_bus_wait(bus, UINT64_MAX), "wait");
    }
}

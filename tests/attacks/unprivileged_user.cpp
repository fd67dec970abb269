// A local user without any rights, who sends everything that the bus lets through.
//   unprivileged-user huge METHOD        four connections send 30 MB each to METHOD of the daemon:
//                                        register, get or forwarded; waits for the answers
//   unprivileged-user leave METHOD       the same, and leaves without waiting for an answer
//   unprivileged-user flood METHOD COUNT sends COUNT small calls that want no reply over one
//                                        connection; METHOD also getenabled, setenabled, unknown
//   unprivileged-user types TYPE...      registers for each type; prints the outcomes
//   unprivileged-user paths COUNT        makes the per-user service answer with COUNT paths; prints
//                                        how many were admitted
//   unprivileged-user sessions COUNT     registers for COUNT types over one connection; prints how
//                                        many were admitted
//   unprivileged-user connections COUNT  makes COUNT connections and registers over each; prints
//                                        how many were admitted
//   unprivileged-user descriptors COUNT  sends COUNT calls with descriptors, plain and nested
//   unprivileged-user slow COUNT         sends COUNT forwarded calls that are never answered, and
//                                        leaves
//   unprivileged-user oversize           makes the daemon send more than the bus accepts
// When the program ends, the daemon has handled what it sent, except after "leave" and "slow".

#include "bus.h"

#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace {

constexpr int hugeLength = 30 * 1000 * 1000;
constexpr int busLimit = 32 * 1024 * 1024;

void append(sd_bus_message *call, const char *types, const char *text)
{
    check(sd_bus_message_append(call, types, text), "appending a text");
}

sd_bus_message *textCall(sd_bus *bus, const std::string &method, const std::string &text)
{
    const bool reads = method == "get";
    sd_bus_message *call = callOf(bus,
                                  reads                      ? getProperty
                                      : method == "register" ? registerInvoker
                                                             : control);
    append(call, "s", text.c_str());
    if (reads)
        append(call, "s", "isIdle");
    return call;
}

sd_bus_message *smallCall(sd_bus *bus, const std::string &method)
{
    if (method != "getenabled" && method != "setenabled" && method != "unknown")
        return textCall(bus, method, "Sync");
    const bool reads = method == "getenabled";
    sd_bus_message *call = callOf(bus,
                                  reads                        ? getEnabled
                                      : method == "setenabled" ? setEnabled
                                                               : unknown);
    check(sd_bus_message_append(call, "i", 100000), "appending a number");
    if (method == "setenabled")
        check(sd_bus_message_append(call, "sb", "com.example.Notes", 1), "appending");
    return call;
}

int countAnswer(sd_bus_message *, void *answers, sd_bus_error *)
{
    ++*static_cast<int *>(answers);
    return 1;
}

std::vector<sd_bus *> sendHuge(const std::string &method, int *answers)
{
    const std::string text(hugeLength, 'x');
    std::vector<sd_bus *> connections;
    for (int number = 0; number < 4; ++number) {
        sd_bus *const bus = connectToBus();
        sd_bus_message *call = textCall(bus, method, text);
        check(sd_bus_call_async(bus, nullptr, call, countAnswer, answers, 0), "sending");
        sd_bus_message_unref(call);
        check(sd_bus_flush(bus), "flushing");
        connections.push_back(bus);
    }
    return connections;
}

void huge(const std::string &method)
{
    int answers = 0;
    const std::vector<sd_bus *> connections = sendHuge(method, &answers);
    while (answers < static_cast<int>(connections.size())) {
        for (sd_bus *bus : connections)
            check(sd_bus_process(bus, nullptr), "processing");
        poll(nullptr, 0, 1);
    }
}

void leave(const std::string &method)
{
    int answers = 0;
    for (sd_bus *bus : sendHuge(method, &answers))
        sd_bus_close_unref(bus);
}

void flood(const std::string &method, int count)
{
    constexpr int atOnce = 256;
    sd_bus *const bus = connectToBus();
    const auto start = std::chrono::steady_clock::now();
    for (int number = 0; number < count; ++number) {
        sd_bus_message *call = smallCall(bus, method);
        check(sd_bus_message_set_expect_reply(call, 0), "asking for no reply");
        check(sd_bus_send(bus, call, nullptr), "sending");
        sd_bus_message_unref(call);
        if (number % atOnce == 0)
            check(sd_bus_flush(bus), "flushing");
    }
    waitUntilHandled(bus);
    const std::chrono::duration<double, std::micro> time = std::chrono::steady_clock::now() - start;
    std::printf("%d calls of %s in %.0f ms, %.1f us each\n", count, method.c_str(),
                time.count() / 1000, time.count() / count);
}

std::string registerFor(sd_bus *bus, const std::string &type)
{
    return outcomeOf(bus, textCall(bus, "register", type));
}

void types(char *const names[])
{
    sd_bus *const bus = connectToBus();
    for (; *names != nullptr; ++names)
        std::printf("%s %s\n", *names, registerFor(bus, *names).c_str());
}

// Registers over one connection for types that are PREFIX and a number.
void sessions(const std::string &prefix, int count)
{
    sd_bus *const bus = connectToBus();
    int admitted = 0;
    for (int number = 0; number < count; ++number)
        admitted += registerFor(bus, prefix + std::to_string(number)) == "answered" ? 1 : 0;
    std::printf("%d\n", admitted);
}

void connections(int count)
{
    int admitted = 0;
    for (int number = 0; number < count; ++number) {
        sd_bus *bus = nullptr;
        // The bus also limits a user's connections.
        if (sd_bus_open_system(&bus) < 0)
            break;
        admitted += registerFor(bus, "Sync") == "answered" ? 1 : 0;
    }
    std::printf("%d\n", admitted);
}

void appendDescriptors(sd_bus_message *call, int kind)
{
    const int fd = STDERR_FILENO;
    if (kind == 0)
        check(sd_bus_message_append(call, "hhhh", fd, fd, fd, fd), "appending");
    else if (kind == 1)
        check(sd_bus_message_append(call, "(h(h))", fd, fd), "appending");
    else if (kind == 2)
        check(sd_bus_message_append(call, "ah", 3, fd, fd, fd), "appending");
    else
        check(sd_bus_message_append(call, "a{sv}v", 1, "k", "h", fd, "(h)", fd), "appending");
}

void descriptors(int count)
{
    sd_bus *const bus = connectToBus();
    for (int number = 0; number < count; ++number) {
        sd_bus_message *call = callOf(bus, number / 4 % 2 == 0 ? control : getEnabled);
        appendDescriptors(call, number % 4);
        // Any answer will do.
        (void)outcomeOf(bus, call);
    }
}

void slow(int count)
{
    sd_bus *const bus = connectToBus();
    Method never = control;
    never.name = "Never";
    for (int number = 0; number < count; ++number) {
        sd_bus_message *call = callOf(bus, never);
        check(sd_bus_call_async(bus, nullptr, call, countAnswer, &count, 0), "sending");
        sd_bus_message_unref(call);
    }
    waitUntilHandled(bus);
    sd_bus_close_unref(bus);
}

std::string ownerOfTheName(sd_bus *bus)
{
    sd_bus_message *reply = nullptr;
    if (sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                           "org.freedesktop.DBus", "GetNameOwner", nullptr, &reply, "s",
                           "org.zarn.Orvane")
        < 0)
        return {};
    const char *owner = "";
    check(sd_bus_message_read(reply, "s", &owner), "reading");
    std::string found = owner;
    sd_bus_message_unref(reply);
    return found;
}

// The error reply repeats the name of the interface and is longer than the call: the bus takes the
// one and closes the connection for the other.
void oversize()
{
    sd_bus *const watching = connectToBus();
    const std::string owner = ownerOfTheName(watching);
    for (int length = busLimit - 160; length > busLimit - 400; length -= 8) {
        sd_bus *const bus = connectToBus();
        (void)outcomeOf(bus,
                        textCall(bus, "get", std::string(static_cast<std::size_t>(length), 'x')));
        sd_bus_close_unref(bus);
        if (ownerOfTheName(watching) != owner) {
            std::puts("the bus has closed its connection");
            return;
        }
    }
    std::puts("the bus has taken everything");
}

bool runWithArgument(const std::string &attack, const std::string &argument)
{
    const int count = std::atoi(argument.c_str());
    if (attack == "huge")
        huge(argument);
    else if (attack == "leave")
        leave(argument);
    else if (attack == "paths")
        sessions("x=/user/" + std::to_string(getpid()) + "/", count);
    else if (attack == "sessions")
        sessions("t", count);
    else if (attack == "connections")
        connections(count);
    else if (attack == "descriptors")
        descriptors(count);
    else if (attack == "slow")
        slow(count);
    else
        return false;
    return true;
}

} // namespace

int main(int argc, char *argv[])
{
    const std::string attack = argc > 1 ? argv[1] : "";
    if (attack == "oversize")
        oversize();
    else if (attack == "flood" && argc == 4)
        flood(argv[2], std::atoi(argv[3]));
    else if (attack == "types" && argc > 2)
        types(argv + 2);
    else if (argc != 3 || !runWithArgument(attack, argv[2])) {
        std::fputs("unprivileged-user: see the source for what it takes\n", stderr);
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

// Makes many calls at once and waits for the last answer. Calls to the daemon and calls to systemd
// use the same library in the same way, so that the caller costs both sides the same.
//
//     calls-at-once start USER TASK...   Start of each task, in the session of the type Sync
//     calls-at-once stop TASK...         Stop of each task
//     calls-at-once pair UNIT...         one Reload and a StartUnit of each unit, which is what
//                                        starts need from systemd
//
// Prints the milliseconds from the first call to the last answer, and the number of errors among
// the answers. Uses the system bus.

#include <systemd/sd-bus.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

namespace {

// The bus allows a connection 128 unanswered calls.
constexpr std::size_t callsOfAConnection = 100;
// Longer than the timeouts of those that are called, which have to answer.
constexpr std::uint64_t timeoutUs = 600ULL * 1000 * 1000;

constexpr const char *sessionPath = "/org/zarn/Orvane/TaskInvokerSessions/Sync";

struct Answers
{
    std::size_t all = 0;
    std::size_t errors = 0;
};

double now()
{
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

int onAnswer(sd_bus_message *reply, void *data, sd_bus_error *)
{
    auto *answers = static_cast<Answers *>(data);
    ++answers->all;
    if (sd_bus_message_is_method_error(reply, nullptr) != 0) {
        const sd_bus_error *error = sd_bus_message_get_error(reply);
        // The first error is shown for all of them.
        if (answers->errors++ == 0)
            std::fprintf(stderr, "%s: %s\n", error->name, error->message);
    }
    return 0;
}

sd_bus_message *callOf(sd_bus *bus, const std::string &mode, const char *user, const char *name)
{
    sd_bus_message *call = nullptr;
    if (mode == "pair") {
        sd_bus_message_new_method_call(bus, &call, "org.freedesktop.systemd1",
                                       "/org/freedesktop/systemd1",
                                       "org.freedesktop.systemd1.Manager", "StartUnit");
        sd_bus_message_append(call, "ss", name, "replace");
        return call;
    }
    sd_bus_message_new_method_call(bus, &call, "org.zarn.Orvane", sessionPath,
                                   "org.zarn.Orvane.TaskInvokerSession1",
                                   mode == "start" ? "Start" : "Stop");
    sd_bus_message_append(call, "s", name);
    if (mode == "start")
        sd_bus_message_append(call, "a{sv}a{sv}", 0, 1, "User", "s", user);
    return call;
}

// Registers, so that the session exists before the measurement.
bool registerClient(sd_bus *bus)
{
    return sd_bus_call_method(bus, "org.zarn.Orvane", "/org/zarn/Orvane/TaskInvoker1",
                              "org.zarn.Orvane.TaskInvoker1", "RegisterInvoker", nullptr, nullptr,
                              "s", "Sync")
        >= 0;
}

bool reload(sd_bus *bus, Answers *answers)
{
    return sd_bus_call_method_async(bus, nullptr, "org.freedesktop.systemd1",
                                    "/org/freedesktop/systemd1", "org.freedesktop.systemd1.Manager",
                                    "Reload", onAnswer, answers, nullptr)
        >= 0;
}

bool finish(const std::vector<sd_bus *> &connections, const Answers &answers, std::size_t wanted)
{
    while (answers.all < wanted) {
        for (sd_bus *bus : connections) {
            int handled = 0;
            while ((handled = sd_bus_process(bus, nullptr)) > 0)
                continue;
            if (handled < 0)
                return false;
        }
        if (answers.all < wanted && sd_bus_wait(connections.front(), 1000) < 0)
            return false;
    }
    return true;
}

std::vector<sd_bus *> connectionsFor(std::size_t calls)
{
    std::vector<sd_bus *> connections;
    while (connections.size() * callsOfAConnection < calls) {
        sd_bus *bus = nullptr;
        if (sd_bus_open_system(&bus) < 0)
            return {};
        sd_bus_set_method_call_timeout(bus, timeoutUs);
        connections.push_back(bus);
    }
    return connections;
}

int callAll(const std::string &mode, const char *user, const std::vector<const char *> &names)
{
    Answers answers;
    const bool isPair = mode == "pair";
    const std::vector<sd_bus *> connections = connectionsFor(names.size());
    if (connections.empty() || (!isPair && !registerClient(connections.front())))
        return 1;
    const double start = now();
    if (isPair && !reload(connections.front(), &answers))
        return 1;
    for (std::size_t index = 0; index < names.size(); ++index) {
        sd_bus *bus = connections[index / callsOfAConnection];
        sd_bus_message *call = callOf(bus, mode, user, names[index]);
        sd_bus_call_async(bus, nullptr, call, onAnswer, &answers, 0);
        sd_bus_message_unref(call);
    }
    if (!finish(connections, answers, names.size() + (isPair ? 1 : 0)))
        return 1;
    std::printf("%.3f %zu\n", now() - start, answers.errors);
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc < 3)
        return 2;
    const std::string mode = argv[1];
    const int first = mode == "start" ? 3 : 2;
    const std::vector<const char *> names(argv + first, argv + argc);
    return names.empty() ? 2 : callAll(mode, argv[2], names);
}

// Starts many units at once and measures the time until the last answer.
//   start-burst tasks COUNT PREFIX USER   asks the daemon for the tasks PREFIX1, PREFIX2, ...
//   start-burst units COUNT PREFIX        asks systemd for one reload and for the units
//                                         PREFIX1.service, PREFIX2.service, ...
// Prints the number of answers, the number of errors among them and the milliseconds from the first
// call to the last answer. The errors go to the error output.

#include <systemd/sd-bus.h>

#include <poll.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

// The bus allows a connection 128 unanswered calls.
constexpr int callsOfAConnection = 100;
// Longer than any answer takes, because wrong answers are counted and slow ones are not.
constexpr unsigned long timeoutUs = 240000000;

struct Outcome
{
    int answers = 0;
    int errors = 0;
};

void check(int result, const char *what)
{
    if (result >= 0)
        return;
    std::fprintf(stderr, "%s: %s\n", what, strerror(-result));
    std::exit(EXIT_FAILURE);
}

int countAnswer(sd_bus_message *answer, void *data, sd_bus_error *)
{
    auto *outcome = static_cast<Outcome *>(data);
    ++outcome->answers;
    if (const sd_bus_error *error = sd_bus_message_get_error(answer)) {
        ++outcome->errors;
        std::fprintf(stderr, "%s: %s\n", error->name, error->message);
    }
    return 0;
}

sd_bus_message *startTask(sd_bus *bus, const std::string &task, const char *user)
{
    sd_bus_message *call = nullptr;
    check(sd_bus_message_new_method_call(bus, &call, "org.zarn.Orvane",
                                         "/org/zarn/Orvane/TaskInvokerSessions/Sync",
                                         "org.zarn.Orvane.TaskInvokerSession1", "Start"),
          "making a call");
    check(sd_bus_message_append(call, "sa{sv}a{sv}", task.c_str(), 0, 1, "User", "s", user),
          "appending the arguments");
    return call;
}

sd_bus_message *managerCall(sd_bus *bus, const char *method)
{
    sd_bus_message *call = nullptr;
    check(sd_bus_message_new_method_call(bus, &call, "org.freedesktop.systemd1",
                                         "/org/freedesktop/systemd1",
                                         "org.freedesktop.systemd1.Manager", method),
          "making a call");
    return call;
}

sd_bus_message *startUnit(sd_bus *bus, const std::string &unit)
{
    sd_bus_message *call = managerCall(bus, "StartUnit");
    check(sd_bus_message_append(call, "ss", unit.c_str(), "replace"), "appending the arguments");
    return call;
}

void send(sd_bus *bus, sd_bus_message *call, Outcome &outcome)
{
    check(sd_bus_call_async(bus, nullptr, call, countAnswer, &outcome, timeoutUs), "calling");
    sd_bus_message_unref(call);
}

// Handles what has arrived on any of the connections, and waits when there is nothing.
void handleSome(const std::vector<sd_bus *> &connections)
{
    std::vector<pollfd> inputs;
    for (sd_bus *bus : connections) {
        int handled = 0;
        while ((handled = sd_bus_process(bus, nullptr)) > 0) { }
        check(handled, "handling answers");
        inputs.push_back({sd_bus_get_fd(bus), static_cast<short>(sd_bus_get_events(bus)), 0});
    }
    constexpr int pauseMs = 1000;
    poll(inputs.data(), inputs.size(), pauseMs);
}

std::vector<sd_bus *> connect(int calls)
{
    std::vector<sd_bus *> connections;
    for (int number = 0; number < calls; number += callsOfAConnection) {
        sd_bus *bus = nullptr;
        check(sd_bus_open_system(&bus), "connecting");
        connections.push_back(bus);
    }
    return connections;
}

} // namespace

int main(int argc, char *argv[])
{
    const bool areTasks = argc == 5 && strcmp(argv[1], "tasks") == 0;
    if (!areTasks && !(argc == 4 && strcmp(argv[1], "units") == 0)) {
        std::fprintf(stderr, "usage: start-burst tasks COUNT PREFIX USER | units COUNT PREFIX\n");
        return EXIT_FAILURE;
    }
    const int count = std::atoi(argv[2]);
    const std::string prefix = argv[3];
    const std::vector<sd_bus *> connections = connect(count);
    Outcome outcome;
    const Clock::time_point start = Clock::now();
    // The answer to this reload is not counted.
    if (!areTasks)
        check(sd_bus_call_async(connections.front(), nullptr,
                                managerCall(connections.front(), "Reload"), nullptr, nullptr,
                                timeoutUs),
              "calling");
    for (int number = 1; number <= count; ++number) {
        sd_bus *bus = connections[static_cast<std::size_t>((number - 1) / callsOfAConnection)];
        const std::string name = prefix + std::to_string(number);
        send(bus, areTasks ? startTask(bus, name, argv[4]) : startUnit(bus, name + ".service"),
             outcome);
    }
    while (outcome.answers < count)
        handleSome(connections);
    const auto time =
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
    std::printf("%d %d %ld\n", outcome.answers, outcome.errors, static_cast<long>(time));
    return EXIT_SUCCESS;
}

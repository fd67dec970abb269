// Another client's view of the daemon: how long it waits for an answer, in milliseconds.
//   latency-probe during   calls again and again until its input ends, and prints the longest
//   latency-probe after    calls nine times and prints the median
// An answer of the bus on behalf of a daemon that has left counts as none: the call is made again,
// and the time goes on. Fails when there is no answer at all.

#include "bus.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
constexpr int pauseMs = 5;

long millisecondsSince(Clock::time_point start)
{
    return static_cast<long>(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
}

std::string callOnce(sd_bus *bus)
{
    sd_bus_message *call = callOf(bus, getEnabled);
    check(sd_bus_message_append(call, "i", 100000), "appending a number");
    return outcomeOf(bus, call);
}

long timeOfACall(sd_bus *bus)
{
    const Clock::time_point start = Clock::now();
    std::string outcome = callOnce(bus);
    while (outcome != "answered" && millisecondsSince(start) < static_cast<long>(timeoutUs / 1000))
        outcome = callOnce(bus);
    if (outcome == "answered")
        return millisecondsSince(start);
    std::fprintf(stderr, "no answer: %s\n", outcome.c_str());
    std::exit(EXIT_FAILURE);
}

bool inputHasEnded()
{
    pollfd input{STDIN_FILENO, POLLIN, 0};
    return poll(&input, 1, pauseMs) > 0;
}

long longestUntilTold(sd_bus *bus)
{
    long longest = 0;
    do
        longest = std::max(longest, timeOfACall(bus));
    while (!inputHasEnded());
    return longest;
}

long medianOfNine(sd_bus *bus)
{
    std::vector<long> times;
    for (int call = 0; call < 9; ++call)
        times.push_back(timeOfACall(bus));
    std::sort(times.begin(), times.end());
    return times[4];
}

} // namespace

int main(int argc, char *argv[])
{
    const std::string when = argc == 2 ? argv[1] : "";
    if (when != "during" && when != "after") {
        std::fputs("usage: latency-probe during|after\n", stderr);
        return EXIT_FAILURE;
    }
    sd_bus *const bus = connectToBus();
    // The connection is set up and the daemon knows it, so that only the time of the answers is
    // measured.
    waitUntilHandled(bus);
    std::puts("ready");
    std::fflush(stdout);
    std::printf("%ld\n", when == "during" ? longestUntilTold(bus) : medianOfNine(bus));
    sd_bus_flush_close_unref(bus);
    return EXIT_SUCCESS;
}

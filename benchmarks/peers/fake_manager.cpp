// A stand-in for systemd's manager that does no work and answers at once, so that only the daemon
// is measured.
//
//     fake-manager [--units N] [--running N] [--reload-ms N]
//
// --units: the number of task units in its listing; the first --running of them run. --reload-ms:
// the time of a Reload, during which it does nothing else, like systemd. A started unit runs at
// once, a stopped unit is gone at once, and both are announced. Two more methods are for the
// benchmarks: Reloads() returns the number of Reloads, and Emit(unit, active state, sub state)
// announces a state. Uses the system bus.

#include <systemd/sd-bus.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

namespace {

constexpr const char *managerPath = "/org/freedesktop/systemd1";

int units = 0;
int running = 0;
int reloadMs = 0;
unsigned reloads = 0;

std::string unitName(int number)
{
    return "ov_task.com.example.App" + std::to_string(number) + ".task_sync.service";
}

std::string unitPath(const char *unit)
{
    char *path = nullptr;
    sd_bus_path_encode("/org/freedesktop/systemd1/unit", unit, &path);
    // systemd and this function would escape only a digit in front differently, and no unit's name
    // begins with a digit.
    std::string result = path;
    std::free(path);
    return result;
}

void announce(sd_bus *bus, const char *unit, const char *activeState, const char *subState)
{
    sd_bus_message *signal = nullptr;
    sd_bus_message_new_signal(bus, &signal, unitPath(unit).c_str(),
                              "org.freedesktop.DBus.Properties", "PropertiesChanged");
    sd_bus_message_append(signal, "sa{sv}as", "org.freedesktop.systemd1.Unit", 2, "ActiveState",
                          "s", activeState, "SubState", "s", subState, 0);
    sd_bus_send(bus, signal, nullptr);
    sd_bus_message_unref(signal);
}

int listUnits(sd_bus_message *call)
{
    sd_bus_message *reply = nullptr;
    sd_bus_message_new_method_return(call, &reply);
    sd_bus_message_open_container(reply, 'a', "(ssssssouso)");
    for (int number = 0; number < units; ++number) {
        const std::string name = unitName(number);
        const bool runs = number < running;
        sd_bus_message_append(reply, "(ssssssouso)", name.c_str(), "A task", "loaded",
                              runs ? "active" : "inactive", runs ? "running" : "dead", "",
                              unitPath(name.c_str()).c_str(), 0U, "", "/");
    }
    sd_bus_message_close_container(reply);
    const int sent = sd_bus_send(nullptr, reply, nullptr);
    sd_bus_message_unref(reply);
    return sent;
}

int job(sd_bus_message *call, const char *activeState, const char *subState)
{
    const char *unit = nullptr;
    const char *mode = nullptr;
    sd_bus_message_read(call, "ss", &unit, &mode);
    announce(sd_bus_message_get_bus(call), unit, activeState, subState);
    return sd_bus_reply_method_return(call, "o", "/org/freedesktop/systemd1/job/1");
}

int reload(sd_bus_message *call)
{
    ++reloads;
    std::this_thread::sleep_for(std::chrono::milliseconds(reloadMs));
    return sd_bus_reply_method_return(call, nullptr);
}

int emitState(sd_bus_message *call)
{
    const char *unit = nullptr;
    const char *activeState = nullptr;
    const char *subState = nullptr;
    sd_bus_message_read(call, "sss", &unit, &activeState, &subState);
    announce(sd_bus_message_get_bus(call), unit, activeState, subState);
    return sd_bus_reply_method_return(call, nullptr);
}

int handle(sd_bus_message *call, void *, sd_bus_error *)
{
    const std::string method = sd_bus_message_get_member(call);
    if (method == "ListUnitsByPatterns")
        return listUnits(call);
    if (method == "ListUnitFilesByPatterns")
        return sd_bus_reply_method_return(call, "a(ss)", 0);
    if (method == "StartUnit")
        return job(call, "active", "running");
    if (method == "StopUnit")
        return job(call, "inactive", "dead");
    if (method == "Reload")
        return reload(call);
    if (method == "Reloads")
        return sd_bus_reply_method_return(call, "u", reloads);
    if (method == "Emit")
        return emitState(call);
    if (method == "EnableUnitFiles")
        return sd_bus_reply_method_return(call, "ba(sss)", 1, 0);
    if (method == "DisableUnitFiles")
        return sd_bus_reply_method_return(call, "a(sss)", 0);
    return sd_bus_reply_method_return(call, nullptr);
}

bool readOptions(int argc, char *argv[])
{
    for (int index = 1; index + 1 < argc; index += 2) {
        const int value = std::atoi(argv[index + 1]);
        if (std::strcmp(argv[index], "--units") == 0)
            units = value;
        else if (std::strcmp(argv[index], "--running") == 0)
            running = value;
        else if (std::strcmp(argv[index], "--reload-ms") == 0)
            reloadMs = value;
        else
            return false;
    }
    return argc % 2 == 1;
}

} // namespace

int main(int argc, char *argv[])
{
    if (!readOptions(argc, argv))
        return 2;
    sd_bus *bus = nullptr;
    if (sd_bus_open_system(&bus) < 0
        || sd_bus_add_object(bus, nullptr, managerPath, handle, nullptr) < 0
        || sd_bus_request_name(bus, "org.freedesktop.systemd1", 0) < 0)
        return 1;
    for (;;) {
        int handled = sd_bus_process(bus, nullptr);
        if (handled == 0)
            handled = sd_bus_wait(bus, UINT64_MAX);
        if (handled < 0)
            return 1;
    }
}

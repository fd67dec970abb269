// A task that tries to do more than a confined program with one bus name may.
//   hostile-task NAME TASK
// NAME: the bus name that it may own. TASK: the id of another task, which it tells the daemon is
// gone. Prints a line for each attempt: what was tried, and "done" or why not.

#include "bus.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr char daemonName[] = "org.zarn.Orvane";
constexpr char session[] = "/org/zarn/Orvane/TaskInvokerSessions/Sync";
constexpr char sessionInterface[] = "org.zarn.Orvane.TaskInvokerSession1";
constexpr char systemdPath[] = "/org/freedesktop/systemd1";
constexpr char manager[] = "org.freedesktop.systemd1.Manager";
constexpr char properties[] = "org.freedesktop.DBus.Properties";

void report(const std::string &attempt, const char *outcome)
{
    std::printf("tried to %s: %s\n", attempt.c_str(), outcome);
}

void claim(sd_bus *bus, const char *name)
{
    sd_bus_error error = SD_BUS_ERROR_NULL;
    const int result =
        sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                           "org.freedesktop.DBus", "RequestName", &error, nullptr, "su", name, 0);
    report(std::string("own ") + name, result < 0 ? error.name : "done");
    sd_bus_error_free(&error);
}

void reportCall(sd_bus *bus, const char *name, sd_bus_message *call)
{
    report(std::string("call ") + name, outcomeOf(bus, call).c_str());
}

void callTheDaemon(sd_bus *bus, const char *task)
{
    sd_bus_message *call = callOf(bus, setEnabled);
    check(sd_bus_message_append(call, "isb", 100000, "com.example.Notes", 1), "appending");
    reportCall(bus, "SetEnabled", call);

    call = callOf(bus, registerInvoker);
    check(sd_bus_message_append(call, "s", "Sync"), "appending");
    (void)outcomeOf(bus, call);
    call = callOf(bus, {session, sessionInterface, "Start"});
    check(sd_bus_message_append(call, "sa{sv}a{sv}", task, 0, 1, "User", "s", "root"), "appending");
    reportCall(bus, "Start", call);
    call = callOf(bus, {session, sessionInterface, "Stop"});
    check(sd_bus_message_append(call, "s", task), "appending");
    reportCall(bus, "Stop", call);
    reportCall(bus, "CloseSession", callOf(bus, {session, sessionInterface, "CloseSession"}));
    call = callOf(bus, {"/org/zarn/Teller/Hooks", "org.zarn.Teller.Hooks", "OnRemove"});
    check(sd_bus_message_append(call, "s", "com.example.Notes"), "appending");
    reportCall(bus, "OnRemove", call);
}

// Sends a signal to a receiver, or to everybody when there is none.
void sendTo(sd_bus *bus, const char *receiver, sd_bus_message *signal)
{
    if (receiver != nullptr)
        check(sd_bus_message_set_destination(signal, receiver), "naming a receiver");
    check(sd_bus_send(bus, signal, nullptr), "sending");
    sd_bus_message_unref(signal);
}

sd_bus_message *signalFrom(sd_bus *bus, const Method &method)
{
    sd_bus_message *signal = nullptr;
    check(sd_bus_message_new_signal(bus, &signal, method.path, method.interface, method.name),
          "making a signal");
    return signal;
}

void claimTheUnitIsGone(sd_bus *bus, const std::string &unit, const char *receiver)
{
    char *path = nullptr;
    check(sd_bus_path_encode("/org/freedesktop/systemd1/unit", unit.c_str(), &path), "a path");
    sd_bus_message *signal = signalFrom(bus, {path, properties, "PropertiesChanged"});
    check(sd_bus_message_append(signal, "sa{sv}as", "org.freedesktop.systemd1.Unit", 2,
                                "ActiveState", "s", "failed", "SubState", "s", "failed", 0),
          "appending");
    sendTo(bus, receiver, signal);
    signal = signalFrom(bus, {systemdPath, manager, "UnitRemoved"});
    check(sd_bus_message_append(signal, "so", unit.c_str(), path), "appending");
    sendTo(bus, receiver, signal);
    std::free(path);
}

void claimTheClientsAreGone(sd_bus *bus, const char *receiver)
{
    for (int number = 0; number < 200; ++number) {
        const std::string name = ":1." + std::to_string(number);
        sd_bus_message *signal =
            signalFrom(bus, {"/org/freedesktop/DBus", "org.freedesktop.DBus", "NameOwnerChanged"});
        check(sd_bus_message_append(signal, "sss", name.c_str(), name.c_str(), ""), "appending");
        sendTo(bus, receiver, signal);
    }
}

void sendForgedSignals(sd_bus *bus, const std::string &task)
{
    const char *unique = nullptr;
    sd_bus_message *reply = nullptr;
    check(sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                             "org.freedesktop.DBus", "GetNameOwner", nullptr, &reply, "s",
                             daemonName),
          "asking for the daemon");
    check(sd_bus_message_read(reply, "s", &unique), "reading");
    for (const char *receiver : {daemonName, unique, static_cast<const char *>(nullptr)}) {
        claimTheUnitIsGone(bus, "ov_task." + task + ".service", receiver);
        claimTheClientsAreGone(bus, receiver);
    }
    sd_bus_message_unref(reply);
    waitUntilHandled(bus);
    report("forge signals", "sent");
}

void writeTo(const std::string &file)
{
    const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    report("write " + file, fd < 0 ? "refused" : "done");
    if (fd >= 0)
        close(fd);
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 3) {
        std::fputs("usage: hostile-task NAME TASK\n", stderr);
        return EXIT_FAILURE;
    }
    setvbuf(stdout, nullptr, _IOLBF, 0);
    sd_bus *const bus = connectToBus();
    for (const char *name : {static_cast<const char *>(argv[1]), daemonName, "org.zarn.Orvane.User",
                             "org.freedesktop.systemd1", "com.example.Notes.Index",
                             "com.example.Hostile", "com.example.Hostile.Attack.More"})
        claim(bus, name);
    callTheDaemon(bus, argv[2]);
    sendForgedSignals(bus, argv[2]);
    for (const char *directory :
         {"/etc/systemd/system", "/run/systemd/system", "/etc/dbus-1/system.d", "/var/lib/am/apps",
          "/run/orvane", "/usr/share/applications", "/usr/share/orvane/task-types"})
        writeTo(std::string(directory) + "/hostile");
    std::puts("all tried");
    sd_bus_flush_close_unref(bus);
    return EXIT_SUCCESS;
}

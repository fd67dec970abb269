// Shared by the attack programs: connections to the system bus, and the daemon's objects.
#pragma once

#include <systemd/sd-bus.h>

#include <cstdint>
#include <string>

constexpr std::uint64_t timeoutUs = 60 * 1000 * 1000;

/// A method of an object.
struct Method
{
    const char *path;
    const char *interface;
    const char *name;
};

extern const Method getEnabled;
extern const Method setEnabled;
extern const Method registerInvoker;
extern const Method getProperty;
extern const Method control;
extern const Method unknown;

/// When a function of the bus library has failed, prints what failed and ends the program.
void check(int result, const char *what);

/// Opens another connection to the bus. Ends the program when that fails.
sd_bus *connectToBus();

/// A call of the daemon, without arguments.
sd_bus_message *callOf(sd_bus *bus, const Method &method);

/// Sends a call and releases it.
/// @return the name of the error, or "answered".
std::string outcomeOf(sd_bus *bus, sd_bus_message *call);

/// Waits until the daemon has answered a call. It has then handled what this connection sent
/// before.
void waitUntilHandled(sd_bus *bus);

// What the attack programs share: connections to the system bus, and the daemon's objects.
#pragma once

#include <systemd/sd-bus.h>

#include <cstdint>
#include <string>

constexpr std::uint64_t timeoutUs = 60 * 1000 * 1000;

/// An object's method.
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

/// Ends the program with a text about it when a function of the bus library has failed.
void check(int result, const char *what);

/// A connection of its own. Ends the program when there is none.
sd_bus *connectToBus();

/// A call of the daemon, without arguments.
sd_bus_message *callOf(sd_bus *bus, const Method &method);

/// Sends a call and releases it.
/// @return the name of the error, or "answered".
std::string outcomeOf(sd_bus *bus, sd_bus_message *call);

/// Waits until the daemon has answered a call: what this connection sent it before has been
/// handled.
void waitUntilHandled(sd_bus *bus);

#include "bus.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

const Method getEnabled{"/org/zarn/am", "org.zarn.am.Autostart", "GetEnabled"};
const Method setEnabled{"/org/zarn/am", "org.zarn.am.Autostart", "SetEnabled"};
const Method registerInvoker{"/org/zarn/Orvane/TaskInvoker1", "org.zarn.Orvane.TaskInvoker1",
                             "RegisterInvoker"};
const Method getProperty{"/org/zarn/Orvane/TaskInvoker1", "org.freedesktop.DBus.Properties", "Get"};
const Method control{"/org/zarn/Orvane/Control1", "org.zarn.Orvane.Control1", "Do"};
const Method unknown{"/no/such/object", "no.such.Interface", "Do"};

void check(int result, const char *what)
{
    if (result >= 0)
        return;
    std::fprintf(stderr, "%s: %s\n", what, std::strerror(-result));
    std::exit(EXIT_FAILURE);
}

sd_bus *connectToBus()
{
    sd_bus *bus = nullptr;
    check(sd_bus_open_system(&bus), "connecting");
    check(sd_bus_set_method_call_timeout(bus, timeoutUs), "setting the time to wait");
    return bus;
}

sd_bus_message *callOf(sd_bus *bus, const Method &method)
{
    sd_bus_message *call = nullptr;
    check(sd_bus_message_new_method_call(bus, &call, "org.zarn.Orvane", method.path,
                                         method.interface, method.name),
          "making a call");
    return call;
}

std::string outcomeOf(sd_bus *bus, sd_bus_message *call)
{
    sd_bus_error error = SD_BUS_ERROR_NULL;
    const int result = sd_bus_call(bus, call, 0, &error, nullptr);
    std::string outcome = result < 0 ? error.name : "answered";
    sd_bus_error_free(&error);
    sd_bus_message_unref(call);
    return outcome;
}

void waitUntilHandled(sd_bus *bus)
{
    sd_bus_message *call = callOf(bus, getEnabled);
    check(sd_bus_message_append(call, "i", 100000), "appending a number");
    const std::string outcome = outcomeOf(bus, call);
    if (outcome == "answered")
        return;
    std::fprintf(stderr, "the daemon does not answer: %s\n", outcome.c_str());
    std::exit(EXIT_FAILURE);
}

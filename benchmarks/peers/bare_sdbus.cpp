// A service that does nothing, with systemd's bus library: the least cost of a process on this bus,
// however it is written.
//
//     bare-sdbus NAME
//
// Answers every call below / with the call's own arguments, so that it can also be the per-user
// service. Uses the system bus.

#include <systemd/sd-bus.h>

namespace {

int answer(sd_bus_message *call, void *, sd_bus_error *)
{
    sd_bus_message *reply = nullptr;
    sd_bus_message_new_method_return(call, &reply);
    sd_bus_message_copy(reply, call, 1);
    const int sent = sd_bus_send(nullptr, reply, nullptr);
    sd_bus_message_unref(reply);
    return sent;
}

} // namespace

int main(int argc, char *argv[])
{
    sd_bus *bus = nullptr;
    if (argc != 2 || sd_bus_open_system(&bus) < 0
        || sd_bus_add_fallback(bus, nullptr, "/", answer, nullptr) < 0
        || sd_bus_request_name(bus, argv[1], 0) < 0)
        return 1;
    for (;;) {
        int handled = sd_bus_process(bus, nullptr);
        if (handled == 0)
            handled = sd_bus_wait(bus, UINT64_MAX);
        if (handled < 0)
            return 1;
    }
}

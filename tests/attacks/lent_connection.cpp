// Calls SetEnabled and Start over a connection to the system bus that another process has made. The
// bus names that process as the caller. Start's hints would make root create a file.
//   lent-connection FILE own                  this process connects itself, as an ordinary caller
//   lent-connection FILE ended                a child connects and ends
//   lent-connection FILE replaced             a child connects and ends, and another process gets
//                                             its number; a line of input says when
//   lent-connection FILE becomes PROGRAM...   a child connects and becomes a set-id program, which
//                                             waits for input
// FILE: the file that root would create. Prints what /proc says of the process that connected at
// the time of the calls, and the outcome of each call.

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr int deadlineMs = 20000;
const char service[] = "org.zarn.Orvane";
const char session[] = "/org/zarn/Orvane/TaskInvokerSessions/Sync";
const char sessionInterface[] = "org.zarn.Orvane.TaskInvokerSession1";
const char application[] = "com.example.Notes";
const char task[] = "com.example.Notes.task_sync";

[[noreturn]] void fail(const char *what)
{
    std::fprintf(stderr, "%s: %s\n", what, std::strerror(errno));
    std::exit(EXIT_FAILURE);
}

void connectToBus(int socket)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, "/run/dbus/system_bus_socket");
    if (connect(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) < 0)
        fail("connecting");
}

// The child keeps no copy of the socket. It waits for input that never comes.
pid_t connectInChild(int socket, char *const program[])
{
    int input[2];
    if (pipe(input) < 0)
        fail("making a pipe");
    const pid_t child = fork();
    if (child < 0)
        fail("making a child");
    if (child > 0) {
        close(input[0]);
        return child;
    }
    connectToBus(socket);
    if (program == nullptr)
        _exit(EXIT_SUCCESS);
    close(input[1]);
    dup2(input[0], STDIN_FILENO);
    // What the program prints is not needed.
    dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
    dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
    execvp(program[0], program);
    fail(program[0]);
}

bool look(pid_t process, struct stat *into)
{
    return stat(("/proc/" + std::to_string(process)).c_str(), into) == 0;
}

bool isSomebodyElses(pid_t process)
{
    struct stat found = {};
    return look(process, &found) && (found.st_uid != getuid() || found.st_gid != getgid());
}

void waitUntilItIsSomebodyElses(pid_t process)
{
    for (int waitedMs = 0; !isSomebodyElses(process); ++waitedMs) {
        if (waitedMs == deadlineMs) {
            std::fputs("the process that connected has not become anybody else\n", stderr);
            std::exit(EXIT_FAILURE);
        }
        poll(nullptr, 0, 1);
    }
}

void report(pid_t process)
{
    struct stat found = {};
    if (look(process, &found))
        std::printf("connected by %d:%d\n", int(found.st_uid), int(found.st_gid));
    else
        std::puts("connected by none");
}

void waitForALine()
{
    std::fflush(stdout);
    while (std::getchar() != '\n') { }
}

// Returns the number of the process that the bus takes for the caller.
pid_t connectAs(const std::string &way, int socket, char *const program[])
{
    if (way == "own") {
        connectToBus(socket);
        return getpid();
    }
    const pid_t child = connectInChild(socket, way == "becomes" ? program : nullptr);
    if (way == "becomes") {
        waitUntilItIsSomebodyElses(child);
        return child;
    }
    if (waitpid(child, nullptr, 0) != child)
        fail("waiting for the child");
    if (way == "replaced") {
        std::printf("replace %d\n", int(child));
        waitForALine();
        waitUntilItIsSomebodyElses(child);
    }
    return child;
}

sd_bus *speakOn(int socket)
{
    sd_bus *bus = nullptr;
    if (sd_bus_new(&bus) < 0 || sd_bus_set_fd(bus, socket, socket) < 0
        || sd_bus_set_bus_client(bus, 1) < 0)
        fail("preparing the connection");
    errno = -sd_bus_start(bus);
    if (errno > 0)
        fail("greeting the bus");
    return bus;
}

void reportCall(const char *method, int result, sd_bus_error *error)
{
    std::printf("%s %s\n", method, result < 0 ? error->name : "admitted");
    sd_bus_error_free(error);
}

void registerClient(sd_bus *bus)
{
    sd_bus_error error = SD_BUS_ERROR_NULL;
    if (sd_bus_call_method(bus, service, "/org/zarn/Orvane/TaskInvoker1",
                           "org.zarn.Orvane.TaskInvoker1", "RegisterInvoker", &error, nullptr, "s",
                           "Sync")
        < 0) {
        std::fprintf(stderr, "registering: %s\n", error.message);
        std::exit(EXIT_FAILURE);
    }
}

void setEnabled(sd_bus *bus)
{
    sd_bus_error error = SD_BUS_ERROR_NULL;
    const int result =
        sd_bus_call_method(bus, service, "/org/zarn/am", "org.zarn.am.Autostart", "SetEnabled",
                           &error, nullptr, "isb", 100000, application, 1);
    reportCall("SetEnabled", result, &error);
}

void start(sd_bus *bus, const std::string &file)
{
    sd_bus_error error = SD_BUS_ERROR_NULL;
    const std::string command = "+/usr/bin/touch " + file;
    const int result = sd_bus_call_method(
        bus, service, session, sessionInterface, "Start", &error, nullptr, "sa{sv}a{sv}", task, 0,
        2, "User", "s", "appuser", "CGroups", "a{sv}", 1, "ExecStartPre", "s", command.c_str());
    reportCall("Start", result, &error);
}

} // namespace

int main(int argc, char *argv[])
{
    const std::string way = argc > 2 ? argv[2] : "";
    if (way != "own" && way != "ended" && way != "replaced" && (way != "becomes" || argc < 4)) {
        std::fputs("usage: lent-connection FILE own|ended|replaced|becomes [PROGRAM...]\n", stderr);
        return EXIT_FAILURE;
    }
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const pid_t connected = connectAs(way, socket, argv + 3);
    sd_bus *const bus = speakOn(socket);
    registerClient(bus);
    report(connected);
    setEnabled(bus);
    start(bus, argv[1]);
    report(connected);
    sd_bus_flush_close_unref(bus);
    return EXIT_SUCCESS;
}

#include "system/signal_quit.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {

// Global, because a signal handler cannot reach anything else.
// Never closed, because the handler may still run in the bus library's thread, and would write to
// what gets the number next.
int s_wakeUp = -1;

void onSignal(int number)
{
    if (number != SIGTERM && number != SIGINT)
        return;
    const int error = errno;
    const std::uint64_t one = 1;
    // Fails only when the counter is full; the loop wakes up then anyway.
    [[maybe_unused]] const ssize_t written = write(s_wakeUp, &one, sizeof one);
    errno = error;
}

void handleWith(void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
}

} // namespace

SignalQuit::SignalQuit(QObject *parent)
    : QObject(parent)
{
    if (s_wakeUp < 0)
        s_wakeUp = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    std::uint64_t old = 0;
    [[maybe_unused]] const ssize_t drained = read(s_wakeUp, &old, sizeof old);
    auto *notifier = new QSocketNotifier(s_wakeUp, QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, qApp, [] {
        std::uint64_t count = 0;
        [[maybe_unused]] const ssize_t got = read(s_wakeUp, &count, sizeof count);
        QCoreApplication::quit();
    });
    handleWith(onSignal);
}

SignalQuit::~SignalQuit()
{
    // The process is ending. systemd may still send a signal because the bus name is released, and
    // this must not kill the process.
    handleWith(SIG_IGN);
}

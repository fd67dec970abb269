#include "system/signal_quit.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {

// All that a signal handler can reach.
int s_wakeUp = -1;

void onSignal(int number)
{
    if (number != SIGTERM && number != SIGINT)
        return;
    const int error = errno;
    const std::uint64_t one = 1;
    // Fails only when the counter is full, and then the loop wakes up anyway.
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
    s_wakeUp = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
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
    // The process is on its way out. The service manager may still signal it, for the bus name that
    // goes first, and must not turn a clean end into a kill.
    handleWith(SIG_IGN);
    close(s_wakeUp);
    s_wakeUp = -1;
}

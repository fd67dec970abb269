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
struct sigaction s_oldTerm;
struct sigaction s_oldInt;

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
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGTERM, &action, &s_oldTerm);
    sigaction(SIGINT, &action, &s_oldInt);
}

SignalQuit::~SignalQuit()
{
    sigaction(SIGTERM, &s_oldTerm, nullptr);
    sigaction(SIGINT, &s_oldInt, nullptr);
    close(s_wakeUp);
    s_wakeUp = -1;
}

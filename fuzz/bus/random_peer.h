#pragma once

#include "fuzz/bus/bus_end.h"

#include <chrono>
#include <deque>

/// A peer that the daemon calls: systemd, the user service or the user manager. It answers each
/// call in time, but with anything: the expected values, values of other types, or an error. It
/// also sends signals.
class RandomPeer : public BusEnd
{
public:
    RandomPeer(const QByteArray &address, const char *name, Random &random);

    /// Sends the answers that are due, and sometimes a signal.
    void speak();
    [[nodiscard]] int answered() const { return m_answered; }

protected:
    void handle(const Message &message) override;

private:
    struct Answer
    {
        std::chrono::steady_clock::time_point due;
        Message message;
    };
    [[nodiscard]] Message answerTo(const Message &call);

    Random &m_random;
    std::deque<Answer> m_waiting;
    int m_answered = 0;
};

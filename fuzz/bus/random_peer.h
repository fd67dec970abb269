#pragma once

#include "fuzz/bus/bus_end.h"

#include <chrono>
#include <deque>

/// Whom the daemon calls: systemd, the user service, the user manager. Answers each call in time,
/// but with what it likes: what is expected, values of other types, an error. Also sends signals
/// that nobody asked for.
class RandomPeer : public BusEnd
{
public:
    RandomPeer(const QByteArray &address, const char *name, Random &random);

    /// Sends the answers that are due, and perhaps a signal.
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

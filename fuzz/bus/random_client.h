#pragma once

#include "fuzz/bus/bus_end.h"

#include <QHash>

/// Calls the daemon: every object, every interface and method, with the arguments that the method
/// takes and with others. Counts the answers to each call.
class RandomClient : public BusEnd
{
public:
    RandomClient(const QByteArray &address, Random &random);

    /// Registers for a task type, so that the daemon stays while this is on the bus.
    void registerFor(const char *taskType);
    /// Sends one message.
    void speak();
    /// Calls that have no answer yet.
    [[nodiscard]] int unanswered() const { return m_unanswered; }
    /// Those, one in a line, for a person.
    [[nodiscard]] QByteArray unansweredCalls() const;
    /// Calls that have more than one.
    [[nodiscard]] int answeredTwice() const { return m_answeredTwice; }
    [[nodiscard]] int messages() const { return m_messages; }
    [[nodiscard]] int failures() const { return m_failures; }

protected:
    void handle(const Message &message) override;

private:
    void call(const Message &message);

    Random &m_random;
    struct Call
    {
        /// Path, interface, member and signature.
        QByteArray text;
        int answers = 0;
        bool isAwaited = true;
    };

    /// By serial.
    QHash<unsigned, Call> m_calls;
    int m_unanswered = 0;
    int m_answeredTwice = 0;
    int m_messages = 0;
    int m_failures = 0;
};

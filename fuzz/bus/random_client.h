#pragma once

#include "fuzz/bus/bus_end.h"

#include <QHash>

/// Calls every object, interface and method of the daemon, with the arguments that the method takes
/// and with others. Counts the answers to each call.
class RandomClient : public BusEnd
{
public:
    RandomClient(const QByteArray &address, Random &random);

    /// Registers for a task type, so that the daemon stays while this client is on the bus.
    void registerFor(const char *taskType);
    /// Sends one message.
    void speak();
    /// Number of calls that have no answer yet.
    [[nodiscard]] int unanswered() const { return m_unanswered; }
    /// These calls as text, each in a line.
    [[nodiscard]] QByteArray unansweredCalls() const;
    /// Number of calls that have more than one answer.
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

    /// Calls by their serials.
    QHash<unsigned, Call> m_calls;
    int m_unanswered = 0;
    int m_answeredTwice = 0;
    int m_messages = 0;
    int m_failures = 0;
};

#pragma once

#include <QByteArray>

#include <memory>
#include <random>

struct DBusConnection;
struct DBusMessage;

/// The source of every random number of a run, so that a seed repeats the run.
using Random = std::mt19937_64;

/// Random bytes for an input.
/// @param most the largest number of bytes.
[[nodiscard]] QByteArray randomBytes(Random &random, int most);

struct MessageUnref
{
    void operator()(DBusMessage *message) const;
};
using Message = std::unique_ptr<DBusMessage, MessageUnref>;

/// A connection to the bus that uses the bus library alone, because the framework refuses to send
/// much of what is sent here. Once it is connected, none of its functions waits.
class BusEnd
{
public:
    /// Connects. Ends the process when that fails.
    explicit BusEnd(const QByteArray &address);
    virtual ~BusEnd();
    BusEnd(const BusEnd &) = delete;
    BusEnd &operator=(const BusEnd &) = delete;

    [[nodiscard]] bool claim(const char *name);
    [[nodiscard]] bool isNameOwned(const char *name);
    /// @return the serial of the message.
    unsigned send(const Message &message);
    /// Handles the messages that have arrived.
    void work();

protected:
    virtual void handle(const Message &message) = 0;

private:
    DBusConnection *const m_connection;
};

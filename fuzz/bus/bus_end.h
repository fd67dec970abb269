#pragma once

#include <QByteArray>

#include <memory>
#include <random>

struct DBusConnection;
struct DBusMessage;

/// Where every random number of a run comes from, so that a seed repeats it.
using Random = std::mt19937_64;

/// The bytes of an input.
[[nodiscard]] QByteArray randomBytes(Random &random, int most);

struct MessageUnref
{
    void operator()(DBusMessage *message) const;
};
using Message = std::unique_ptr<DBusMessage, MessageUnref>;

/// One connection to the bus, by the bus library alone: the framework refuses to send much of what
/// the others here send. Nothing in it waits, once it is connected.
class BusEnd
{
public:
    /// Connects, or ends the process.
    explicit BusEnd(const QByteArray &address);
    virtual ~BusEnd();
    BusEnd(const BusEnd &) = delete;
    BusEnd &operator=(const BusEnd &) = delete;

    [[nodiscard]] bool claim(const char *name);
    [[nodiscard]] bool isNameOwned(const char *name);
    /// @return its serial.
    unsigned send(const Message &message);
    /// Handles what has come.
    void work();

protected:
    virtual void handle(const Message &message) = 0;

private:
    DBusConnection *const m_connection;
};

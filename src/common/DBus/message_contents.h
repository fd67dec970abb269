#pragma once

#include <QtGlobal>

class QDBusMessage;

namespace DBus {

/// The most that this daemon puts into one message, in bytes: the 32 MiB that a system bus takes,
/// less room for the header fields that the bus adds. The bus disconnects whoever sends more.
constexpr qint64 largestMessage = 32 * 1024 * 1024 - 64 * 1024;

/// The most values, those inside others included, that this daemon passes on in one message: some
/// hundredths of a second of its time.
constexpr int mostValues = 100000;

/// What matters of a message before it is sent on.
struct MessageContents
{
    /// How long it is on the bus, in bytes: never less than it really is, and for long texts close
    /// to it.
    qint64 size = 0;
    /// How many values it holds.
    int values = 0;
    /// How many file descriptors it carries as arguments of their own.
    int descriptors = 0;
    /// Whether it carries some inside another value, too. The framework never closes its copies of
    /// those when it sends them on.
    bool hasNestedDescriptors = false;
    /// Whether it carries a signature without types other than in a record, which is copied as it
    /// is. The framework refuses to send that, and never frees what it has written of the value
    /// around it.
    bool hasEmptySignature = false;

    [[nodiscard]] bool isTooLarge() const { return size > largestMessage || values > mostValues; }
    [[nodiscard]] bool canBeSentOn() const
    {
        return !isTooLarge() && !hasNestedDescriptors && !hasEmptySignature;
    }
};

/// Reads all arguments once, and ends early with a message that is too large: the numbers are then
/// those of its beginning. Only for messages that came from the bus, or whose arguments are plain
/// values.
[[nodiscard]] MessageContents contentsOf(const QDBusMessage &message);

} // namespace DBus

#pragma once

#include <QtGlobal>

class QDBusMessage;

namespace DBus {

/// Largest message that this daemon sends, in bytes: the 32 MiB that the system bus accepts, less
/// room for the header fields that the bus adds. The bus disconnects a program that sends more.
constexpr qint64 largestMessage = 32 * 1024 * 1024 - 64 * 1024;

/// Largest number of values, nested ones included, that this daemon passes on in one message. They
/// take some hundredths of a second.
constexpr int mostValues = 100000;

/// Largest number of file descriptors that this daemon passes on in one message: what dbus-daemon
/// accepts, and what the bus library accepts in a program that does not ask for more. A program
/// that receives more loses its connection.
constexpr int mostDescriptors = 16;

/// What is checked before a message is passed on. Plain value.
struct MessageContents
{
    /// An upper bound of the size on the bus, in bytes; for long texts it is close to the real
    /// size.
    qint64 size = 0;
    /// Number of values, nested ones included.
    int values = 0;
    /// Number of file descriptors that are arguments of their own.
    int descriptors = 0;
    /// Whether there are file descriptors inside other values. The framework never closes its
    /// copies of those when it passes them on.
    bool hasNestedDescriptors = false;
    /// Whether there is an empty signature outside marshalled records. The framework refuses to
    /// send it and leaks the value around it.
    bool hasEmptySignature = false;

    /// Whether a limit is exceeded.
    [[nodiscard]] bool isTooLarge() const
    {
        return size > largestMessage || values > mostValues || descriptors > mostDescriptors;
    }
    /// Whether this daemon can pass the message on.
    [[nodiscard]] bool canBeSentOn() const
    {
        return !isTooLarge() && !hasNestedDescriptors && !hasEmptySignature;
    }
};

/// Examines all arguments of a message. Stops early when the message is too large; the numbers are
/// then those of the part that was read. Only for messages that came from the bus, or whose
/// arguments are plain values. Usable from any thread.
[[nodiscard]] MessageContents contentsOf(const QDBusMessage &message);

} // namespace DBus

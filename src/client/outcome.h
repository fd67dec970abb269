#pragma once

#include <QDBusError>
#include <QDBusMessage>
#include <QString>

namespace Client {

/// The outcome of a call to the daemon: empty on success, else the bus's error. A plain value.
struct Outcome
{
    /// The D-Bus name of the error; empty when the call was answered.
    QString errorName;
    /// The error's message; may be empty.
    QString errorText;

    /// True when the call failed.
    explicit operator bool() const { return !errorName.isEmpty(); }
    /// Whether nothing answered: no bus, no daemon (or, for a task type of the user's session, no
    /// per-user service), or no answer in time.
    [[nodiscard]] bool isUnreachable() const;
    /// The message, or the error's name if there is no message.
    [[nodiscard]] QString toString() const;
};

/// The outcome of a reply.
[[nodiscard]] Outcome outcomeOf(const QDBusMessage &reply);
/// The outcome for an error of the bus library; an invalid error is success.
[[nodiscard]] Outcome outcomeOf(const QDBusError &error);

} // namespace Client

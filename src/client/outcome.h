#pragma once

#include <QDBusError>
#include <QDBusMessage>
#include <QString>

namespace Client {

/// How a call of the daemon ended: empty, or the bus's error. Plain value.
struct Outcome
{
    /// The D-Bus name of the error; empty when the call was answered.
    QString errorName;
    /// What the answering side says of it; may be empty.
    QString errorText;

    /// True when the call failed.
    explicit operator bool() const { return !errorName.isEmpty(); }
    /// Whether nobody was there to answer: no bus, no daemon (or, for a task type of the user's
    /// session, no per-user service), or one that did not answer in time.
    [[nodiscard]] bool isUnreachable() const;
    /// One line for a person: the text, or the name where there is no text.
    [[nodiscard]] QString toString() const;
};

/// The outcome that a reply tells of.
[[nodiscard]] Outcome outcomeOf(const QDBusMessage &reply);
/// The outcome that an error of the bus library tells of; an invalid one is success.
[[nodiscard]] Outcome outcomeOf(const QDBusError &error);

} // namespace Client

// Stand-in for the client library of the application starter: the two operations that the
// autostart launcher uses, as a blocking call on the system bus.
#pragma once

#include <QString>

namespace Orvane {

/// The outcome of a call; true when it failed.
class Error
{
public:
    Error() = default;
    /// A failure, with readable text.
    explicit Error(const QString &message)
        : m_failed(true)
        , m_message(message)
    {
    }

    explicit operator bool() const { return m_failed; }
    [[nodiscard]] const QString &message() const { return m_message; }

private:
    bool m_failed = false;
    QString m_message;
};

/// The service that launches applications.
class Control
{
public:
    /// The process's only instance.
    static Control &instance();
    /// Starts an application and waits for the answer.
    Error start(const QString &applicationId);
};

} // namespace Orvane

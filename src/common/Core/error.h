#pragma once

#include <QDebug>
#include <QString>

namespace Core {

/// The outcome of an operation that can fail: a code and a text for a person. Failures are returned
/// as values of this type or passed to a completion callback; nothing throws. Plain value, usable
/// from any thread.
class Error
{
public:
    /// The kinds of failure. The number determines the D-Bus error name (see DBus::Error). Numbers
    /// that are missing here have no name of their own.
    enum Code : qint32 {
        NoError = 0,
        Failed = 1,
        HandlerNotFound = 2,
        HandlerFailed = 3,
        InvalidArgs = 4,
        NotSupported = 5,
        AccessDenied = 6,
        ProcessNotHandled = 7,
        ApplicationAlreadyRunning = 9,
        ApplicationTerminating = 10,
        TaskNotFound = 11,
        ApplicationBlocked = 13,
        ApplicationAlreadyLaunching = 15,
    };

    /// Success.
    Error() = default;
    /// @param code one of Code; other values are kept unchanged. 0 is success.
    /// @param message text for a person, empty on success.
    Error(qint32 code, QString message);
    virtual ~Error() = default;
    Error(const Error &) = default;
    Error(Error &&) = default;
    Error &operator=(const Error &) = default;
    Error &operator=(Error &&) = default;

    /// One of Code, or another number that was given.
    [[nodiscard]] qint32 code() const { return m_code; }
    /// Text for a person; empty on success.
    [[nodiscard]] const QString &message() const { return m_message; }
    /// True when this is a failure.
    explicit operator bool() const { return m_code != NoError; }

private:
    qint32 m_code = NoError;
    QString m_message;
};

/// Writes `Error(11, "Task not found: x")` and leaves the stream's spacing as it was.
QDebug operator<<(QDebug debug, const Error &error);

} // namespace Core

#pragma once

#include <QString>

/// Records whether a function of this layer failed to list a folder or read a file that may exist:
/// no free descriptor, an input error, no permission. It covers its own thread, for as long as it
/// exists. A missing file is not a failure. For callers that must not treat an unreadable file as
/// removed.
class ReadFailures
{
public:
    ReadFailures();
    ~ReadFailures();
    Q_DISABLE_COPY(ReadFailures)

    [[nodiscard]] bool any() const { return !m_first.isEmpty(); }
    /// The first failure as readable text: the path and the system's error text. Empty when there
    /// is none.
    [[nodiscard]] const QString &first() const { return m_first; }

    /// Adds a failure to every object in this thread.
    static void note(const QString &path, const QString &reason);
    /// Whether this errno value means that the file does not exist.
    [[nodiscard]] static bool isMissing(int error);

private:
    ReadFailures *const m_outer;
    QString m_first;
};

#pragma once

#include <QString>

/// While one lives, it notes whether listing folders or reading files, by the functions of this
/// layer and in its thread, has failed although something may be there: no descriptor left, an
/// input error, no permission. What is missing is no failure. For work that must not take what it
/// could not read for what is gone.
class ReadFailures
{
public:
    ReadFailures();
    ~ReadFailures();
    Q_DISABLE_COPY(ReadFailures)

    [[nodiscard]] bool any() const { return !m_first.isEmpty(); }
    /// The first one, for a person: the path and the system's error text. Empty when there is none.
    [[nodiscard]] const QString &first() const { return m_first; }

    /// Tells every one that lives in this thread.
    static void note(const QString &path, const QString &reason);
    /// Whether the system says by this error number that there is nothing of that name.
    [[nodiscard]] static bool isMissing(int error);

private:
    ReadFailures *const m_outer;
    QString m_first;
};

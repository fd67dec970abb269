#pragma once

#include <QDebug>
#include <QString>

/// A text from another process in a log line: in quotes and escaped, as Qt logs any text, but at
/// most 200 characters, because a client may send 30 MB as a name. Refers to the text, which has to
/// exist until the line is logged. Usable from any thread.
class ClientText
{
public:
    /// @param text has to outlive this object.
    explicit ClientText(const QString &text)
        : m_text(text)
    {
    }
    friend QDebug operator<<(QDebug debug, const ClientText &text);

private:
    const QString &m_text;
};

#pragma once

#include <QDebug>
#include <QString>

/// A text of somebody else in a log line: written as the framework writes any text, in quotes and
/// escaped, but at most 200 characters of it, because a client may send 30 MB as a name.
class ClientText
{
public:
    explicit ClientText(const QString &text)
        : m_text(text)
    {
    }
    friend QDebug operator<<(QDebug debug, const ClientText &text);

private:
    const QString &m_text;
};

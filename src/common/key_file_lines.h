#pragma once

#include <QByteArray>
#include <QString>

/// Tells on which lines of a desktop entry its groups and keys are, for messages: the reader of
/// entries does not. Each question walks through the text. A value; usable from any thread.
class KeyFileLines
{
public:
    KeyFileLines() = default;
    /// @param text of a file that is a desktop entry; of another text the answers mean nothing.
    explicit KeyFileLines(const QByteArray &text);
    /// Of a file; one that cannot be read has no lines.
    [[nodiscard]] static KeyFileLines ofFile(const QString &path);

    /// The line of a group's last header, from 1 on; 0 when there is none.
    [[nodiscard]] int of(const QString &group) const;
    /// The line of a key that counts, which is the last; 0 when the group does not have it. A
    /// translation is another key: "Name[de]".
    [[nodiscard]] int of(const QString &group, const QString &key) const;

private:
    QByteArray m_text;
};

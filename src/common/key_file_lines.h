#pragma once

#include <QByteArray>
#include <QString>

/// Finds the line numbers of groups and keys of a desktop entry, for messages, because the parser
/// of desktop entries does not provide them. Each call searches the whole text. A value; usable
/// from any thread.
class KeyFileLines
{
public:
    KeyFileLines() = default;
    /// @param text content of a desktop entry. For another text the results are meaningless.
    explicit KeyFileLines(const QByteArray &text);
    /// Reads a file; one that cannot be read has no lines.
    [[nodiscard]] static KeyFileLines ofFile(const QString &path);

    /// The line of a group's last header, from 1; 0 when there is none.
    [[nodiscard]] int of(const QString &group) const;
    /// The line of a key, from 1; 0 when the group does not have it. Of several, the last one,
    /// which is the one that is used. A translated key is a key of its own: "Name[de]".
    [[nodiscard]] int of(const QString &group, const QString &key) const;

private:
    QByteArray m_text;
};

#pragma once

#include <QByteArray>
#include <QString>

#include <optional>
#include <string_view>
#include <vector>

namespace Cli {

class KnownPlaces;

/// A key of a desktop entry, or a group's header. The texts are parts of the file's.
struct EntryLine
{
    std::string_view group;
    /// Empty for a header.
    std::string_view key;
    std::string_view value;
    /// From 1 on.
    int number = 0;
};

/// The text of a desktop entry as it is written, line by line. A value.
class EntryText
{
public:
    /// @param text of the file.
    explicit EntryText(const QByteArray &text);

    /// The headers and keys, in the order of the file, without translations, which are most of a
    /// file and nothing to anybody here.
    [[nodiscard]] const std::vector<EntryLine> &lines() const { return m_lines; }
    /// The line of a group's last header, from 1 on; 0 when there is none.
    [[nodiscard]] int lineOf(const QString &group) const { return lineOf(group, {}); }
    /// The line of a key that counts, which is the last; 0 when the group does not have it.
    [[nodiscard]] int lineOf(const QString &group, const QString &key) const;
    /// The line of the first byte that is not UTF-8, from 1 on; 0 when all are.
    [[nodiscard]] int firstLineOfOtherBytes() const;

private:
    // Shared with the lines, which are parts of it.
    QByteArray m_text;
    std::vector<EntryLine> m_lines;
};

/// A desktop entry that is read when somebody asks for its text.
class EntryFile
{
public:
    /// @param path as it is told of.
    /// @param places what it is part of: an image's links lead to files of the image.
    EntryFile(const QString &path, const KnownPlaces &places);
    [[nodiscard]] const QString &path() const { return m_path; }
    /// Empty when it cannot be read.
    [[nodiscard]] const EntryText &text() const;

private:
    const QString m_path;
    const QString m_realPath;
    mutable std::optional<EntryText> m_text;
};

/// The same of any file's text.
[[nodiscard]] int firstLineOfOtherBytes(const QByteArray &text);
/// The text of a part of a file.
[[nodiscard]] QString textOf(std::string_view part);

} // namespace Cli

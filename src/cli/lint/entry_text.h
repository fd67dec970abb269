#pragma once

#include <QByteArray>
#include <QString>

#include <optional>
#include <string_view>
#include <vector>

namespace Cli {

class KnownPlaces;

/// A key of a desktop entry, or a group's header. The texts are views into the file's text.
struct EntryLine
{
    std::string_view group;
    /// Empty for a header.
    std::string_view key;
    std::string_view value;
    /// Counted from 1.
    int number = 0;
};

/// The raw text of a desktop entry, line by line. A value.
class EntryText
{
public:
    /// @param text the content of the file.
    explicit EntryText(const QByteArray &text);

    /// The headers and keys in file order, without translations, which are most of a file and are
    /// not checked.
    [[nodiscard]] const std::vector<EntryLine> &lines() const { return m_lines; }
    /// The line of a group's last header, counted from 1; 0 when there is none.
    [[nodiscard]] int lineOf(const QString &group) const { return lineOf(group, {}); }
    /// The line of a key, of which the last one is used; 0 when the group does not have it.
    [[nodiscard]] int lineOf(const QString &group, const QString &key) const;
    /// The line of the first byte that is not UTF-8, counted from 1; 0 when there is none.
    [[nodiscard]] int firstLineOfOtherBytes() const;

private:
    // The lines are views into it.
    QByteArray m_text;
    std::vector<EntryLine> m_lines;
};

/// A desktop entry that is read on first use.
class EntryFile
{
public:
    /// @param path the path that is shown in findings.
    /// @param places where it is: links in an image are resolved inside the image.
    EntryFile(const QString &path, const KnownPlaces &places);
    [[nodiscard]] const QString &path() const { return m_path; }
    /// Empty when it cannot be read.
    [[nodiscard]] const EntryText &text() const;

private:
    const QString m_path;
    const QString m_realPath;
    mutable std::optional<EntryText> m_text;
};

/// The line of the first byte that is not UTF-8 in any text, counted from 1; 0 when there is none.
[[nodiscard]] int firstLineOfOtherBytes(const QByteArray &text);
/// Converts a view into the text to a string.
[[nodiscard]] QString textOf(std::string_view part);

} // namespace Cli

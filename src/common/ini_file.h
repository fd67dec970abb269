#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

#include <optional>

/// Reads the INI format of QSettings. QSettings itself must not read files that others may write,
/// because it deserialises objects from values that begin with "@"; here such a value is plain
/// text. Everything else is read as QSettings reads it: escapes, quotes, comments, continued lines,
/// Latin-1 unless the file begins with a UTF-8 byte order mark, case-sensitive keys and groups, and
/// the group "General" for keys without a group. Memory and time are linear in the size of the
/// text. A value; usable from any thread.
class IniFile
{
public:
    /// The value of a key: a text, or a list if it has a comma outside quotes.
    struct Value
    {
        /// Empty for a list.
        QString text;
        bool isList = false;
        /// The line of the key, from 1.
        int line = 0;
    };

    /// Parses `text`; lines that cannot be parsed are skipped.
    explicit IniFile(const QByteArray &text);

    /// The names of the top-level groups that have a key, sorted.
    [[nodiscard]] QStringList groups() const;
    /// All keys of a group, sorted. Keys of a nested group begin with its name and "/", so the
    /// result can be larger than the text when nested groups have long names.
    [[nodiscard]] QStringList keys(const QString &group) const;
    /// The value of a key.
    /// @param group name of the group; empty for keys outside any group.
    /// @return nothing when there is no such key.
    [[nodiscard]] std::optional<Value> value(const QString &group, const QString &key) const;

private:
    /// Values by key; "/" in a key may separate groups.
    using Section = QMap<QString, Value>;

    /// Sections by group name with a closing "/"; empty for the keys outside any group. Two levels,
    /// because a group with a long name may have many keys.
    QMap<QString, Section> m_sections;
};

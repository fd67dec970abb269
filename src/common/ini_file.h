#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

#include <optional>

/// The settings in a file of the settings library's INI format, which that library itself must not
/// read when others may write the file: it makes objects of every kind out of values that begin
/// with "@". Here such a value is the text that it is. Everything else reads as the library reads
/// it: escapes, quotes, comments, continued lines, Latin-1 unless the file begins with the mark of
/// UTF-8, keys and groups that differ in case only, group "General" for keys without a group.
/// Memory and time grow with the size of the text and no faster. A value; usable from any thread.
class IniFile
{
public:
    /// What one key says: a text, or a list, which is what a comma outside quotes makes.
    struct Value
    {
        /// Empty for a list.
        QString text;
        bool isList = false;
        /// The line of the file on which the key is, from 1 on.
        int line = 0;
    };

    /// Parses `text`, of which unreadable lines are left out.
    explicit IniFile(const QByteArray &text);

    /// The names of the outermost groups that hold a key, sorted.
    [[nodiscard]] QStringList groups() const;
    /// All keys below a group, sorted; those of a group inside it with that group's name and "/",
    /// so that long names of groups inside take more memory than the text.
    [[nodiscard]] QStringList keys(const QString &group) const;
    /// @param group name of a group; empty for the keys outside any.
    /// @return nothing when there is no such key.
    [[nodiscard]] std::optional<Value> value(const QString &group, const QString &key) const;

private:
    /// By name of the key, in which "/" may separate groups too.
    using Section = QMap<QString, Value>;

    /// By name of the group and a closing "/"; empty for the keys outside any. Kept apart, because
    /// a group with a long name may hold many keys.
    QMap<QString, Section> m_sections;
};

#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QString>
#include <QVector>

namespace Core {

/// One word of a sandbox's command line, and where it comes from.
struct SandboxWord
{
    enum Source {
        /// The same in every sandbox.
        Fixed,
        /// The program's name.
        Program,
        Organization,
        /// The application's name, with or without the organization's.
        Application,
        /// Another setting of the sandbox.
        Setting,
        /// A permission file.
        Permission,
        /// The program itself, or one of its arguments.
        Argument
    };

    /// UTF-8.
    QByteArray text;
    Source source = Fixed;
    /// The permission's name and the file that was found; empty for other words.
    QString permission;
    QString file;
};

/// Builds a command line.
class SandboxLine
{
public:
    /// Sets the source of the words that follow.
    SandboxLine &from(SandboxWord::Source source)
    {
        m_source = source;
        return *this;
    }
    SandboxLine &operator<<(const QByteArray &text)
    {
        m_words.append({text, m_source, {}, {}});
        return *this;
    }
    SandboxLine &operator<<(const QVector<SandboxWord> &words)
    {
        m_words += words;
        return *this;
    }
    [[nodiscard]] const QVector<SandboxWord> &words() const { return m_words; }

private:
    QVector<SandboxWord> m_words;
    SandboxWord::Source m_source = SandboxWord::Fixed;
};

/// The words without their sources.
[[nodiscard]] QByteArrayList textsOf(const QVector<SandboxWord> &words);

} // namespace Core

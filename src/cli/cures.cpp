#include "cli/cures.h"

#include "common/places.h"

#include <QFileInfo>

#include <algorithm>

namespace Cli {

namespace {

bool isPlain(QChar c)
{
    return c.unicode() < 0x80 && (c.isLetterOrNumber() || QLatin1String("_@%+=:,./-").contains(c));
}

QString quoted(const QString &word)
{
    if (!word.isEmpty() && std::all_of(word.begin(), word.end(), isPlain))
        return word;
    QString inside = word;
    inside.replace(QLatin1Char('\''), QLatin1String("'\\''"));
    return QLatin1Char('\'') + inside + QLatin1Char('\'');
}

// The file in the image, rather than the file on this system that a link in the image points to.
QString real(const QString &file) { return Places::ofProcess().real(file); }

// The same for a file that is to be moved. If it is a link, the link itself is moved.
QString movable(const QString &file)
{
    const QFileInfo info(file);
    const QString folder = real(info.path());
    return folder == info.path() ? file : folder + QLatin1Char('/') + info.fileName();
}

QString edited(const QString &file, const QString &script)
{
    return commandOf({QStringLiteral("sed"), QStringLiteral("-i"), script, real(file)});
}

// Escapes the backslashes in a text for sed's commands.
QString forSed(const QString &text)
{
    QString escaped = text;
    return escaped.replace(QLatin1Char('\\'), QLatin1String("\\\\"));
}

} // namespace

QString commandOf(const QStringList &words)
{
    QStringList all;
    for (const QString &word : words)
        all.append(quoted(word));
    return all.join(QLatin1Char(' '));
}

QString inTurn(const QString &first, const QString &second)
{
    return first + QStringLiteral(" && ") + second;
}

QString systemctl(const char *verb, const QString &unit)
{
    return commandOf({QStringLiteral("systemctl"), QString::fromLatin1(verb), unit});
}

QString makingFolders(const QStringList &folders)
{
    return commandOf(QStringList{QStringLiteral("install"), QStringLiteral("-d"),
                                 QStringLiteral("-m"), QStringLiteral("755")}
                     + folders);
}

QString reinstalling(const QString &package)
{
    const QString program = QStringLiteral("apt-get");
    return QFileInfo::exists(QStringLiteral("/usr/bin/") + program)
        ? commandOf({program, QStringLiteral("install"), QStringLiteral("--reinstall"),
                     QStringLiteral("--yes"), package})
        : QString();
}

QString replacingLine(const QString &file, int line, const QString &text)
{
    return edited(file, QStringLiteral("%1c\\%2").arg(line).arg(forSed(text)));
}

QString addingLine(const QString &file, int after, const QString &text)
{
    return edited(file, QStringLiteral("%1a\\%2").arg(after).arg(forSed(text)));
}

QString deletingLine(const QString &file, int line)
{
    return edited(file, QStringLiteral("%1d").arg(line));
}

QString moving(const QString &from, const QString &to)
{
    return commandOf({QStringLiteral("mv"), movable(from), movable(to)});
}

QString appending(const QString &file, const QStringList &lines)
{
    const QString folder = QFileInfo(real(file)).path();
    const QString make = commandOf({QStringLiteral("mkdir"), QStringLiteral("-p"), folder});
    const QString print =
        commandOf(QStringList{QStringLiteral("printf"), QStringLiteral("%s\\n")} + lines)
        + QStringLiteral(" >> ") + quoted(real(file));
    return QFileInfo(folder).isDir() ? print : inTurn(make, print);
}

} // namespace Cli

#include "cli/help.h"

#include "cli/table.h"

#include <algorithm>

namespace Cli {

namespace {

constexpr int lineWidth = 80;
// The text of a longer term begins on the next line.
constexpr int longestTerm = 24;

struct Entry
{
    QString term;
    QString text;
};

QStringList listOf(const QVector<Entry> &entries)
{
    int widest = 0;
    for (const Entry &entry : entries) {
        if (entry.term.size() <= longestTerm)
            widest = std::max(widest, static_cast<int>(entry.term.size()));
    }
    const int indentation = widest + 4;
    QStringList lines;
    for (const Entry &entry : entries) {
        QStringList text = wrapped(entry.text, indentation, lineWidth);
        const QString term = QStringLiteral("  ") + entry.term;
        if (entry.term.size() > widest)
            lines.append(term);
        else
            text.first().replace(0, term.size(), term);
        lines += text;
    }
    return lines;
}

QStringList section(const QString &title, const QVector<Entry> &entries)
{
    if (entries.isEmpty())
        return {};
    return QStringList{QString(), title + QLatin1Char(':')} + listOf(entries);
}

QStringList statusSection()
{
    QVector<Entry> entries;
    for (const auto &[status, meaning] : exitStatuses())
        entries.append({QString::number(status), meaning});
    return section(QStringLiteral("Exit status"), entries);
}

QString helpOf(const Option &option)
{
    return option.isRepeatable ? option.help + QStringLiteral("; may be repeated") : option.help;
}

} // namespace

QString spellingOf(const Option &option)
{
    const QString name = QStringLiteral("--") + option.name;
    return option.value.isEmpty() ? name : name + QLatin1Char(' ') + option.value;
}

QString usageOf(const Command &command)
{
    QString usage = command.name;
    for (const Argument &argument : command.arguments) {
        const QString name =
            argument.isRepeatable ? argument.name + QStringLiteral("...") : argument.name;
        usage += QLatin1Char(' ') + (argument.isRequired ? name : QStringLiteral("[%1]").arg(name));
    }
    for (const Option &option : command.options) {
        if (option.isRequired)
            usage += QLatin1Char(' ') + spellingOf(option);
    }
    return usage + QStringLiteral(" [OPTION...]");
}

QStringList toolHelp()
{
    QVector<Entry> entries;
    for (const Command &command : commands())
        entries.append({command.name, command.summary});
    return QStringList{QStringLiteral("usage: orvanectl COMMAND [ARGUMENT...] [OPTION...]"),
                       QString(),
                       QStringLiteral("Shows and controls the background tasks of applications.")}
    + section(QStringLiteral("Commands"), entries)
        + section(QStringLiteral("Options"),
                  {{QStringLiteral("--help"), QStringLiteral("print this help")},
                   {QStringLiteral("--version"), QStringLiteral("print the tool's version")}})
        + statusSection()
        + QStringList{QString(),
                      QStringLiteral("More: orvanectl COMMAND --help, and man orvanectl")};
}

QStringList commandHelp(const Command &command)
{
    QStringList lines =
        wrapped(QStringLiteral("usage: orvanectl ") + usageOf(command), 0, lineWidth);
    for (const QString &paragraph : command.description)
        lines += QStringList(QString()) + wrapped(paragraph, 0, lineWidth);
    QVector<Entry> arguments;
    for (const Argument &argument : command.arguments)
        arguments.append({argument.name, argument.help});
    QVector<Entry> options;
    for (const Option &option : allOptionsOf(command))
        options.append({spellingOf(option), helpOf(option)});
    return lines + section(QStringLiteral("Arguments"), arguments)
        + section(QStringLiteral("Options"), options);
}

} // namespace Cli

#include "cli/man_page.h"

#include "cli/command.h"

namespace Cli {

namespace {

// Escapes a text so that none of it is a request to the formatter.
QString plain(QString text)
{
    text.replace(QLatin1Char('\\'), QLatin1String("\\e"));
    if (text.startsWith(QLatin1Char('.')) || text.startsWith(QLatin1Char('\'')))
        text.prepend(QLatin1String("\\&"));
    return text;
}

// Puts each sentence on a line of its own, so that the formatter recognises its end.
QString paragraph(const QString &text)
{
    QString lines = plain(text);
    lines.replace(QLatin1String(". "), QLatin1String(".\n"));
    return lines + QLatin1Char('\n');
}

QString sentence(const QString &text)
{
    return paragraph(text.left(1).toUpper() + text.mid(1) + QLatin1Char('.'));
}

// Escapes the dashes, so that an option can be copied from the page.
QString flag(const Option &option)
{
    QString name = option.name;
    name.replace(QLatin1Char('-'), QLatin1String("\\-"));
    const QString value =
        option.value.isEmpty() ? QString() : QStringLiteral(" Ar %1").arg(plain(option.value));
    return QStringLiteral("Fl \\-%1%2").arg(name, value);
}

QString list(const QString &items)
{
    return items.isEmpty() ? items
                           : QLatin1String(".Bl -tag -width Ds\n") + items + QLatin1String(".El\n");
}

QString optionItems(const QVector<Option> &options)
{
    QString items;
    for (const Option &option : options) {
        items += QStringLiteral(".It %1\n").arg(flag(option)) + sentence(option.help);
        if (option.isRequired)
            items += QLatin1String("Required.\n");
        if (option.isRepeatable)
            items += QLatin1String("May be repeated.\n");
    }
    return items;
}

QString argumentsOf(const Command &command)
{
    QString words;
    for (const Argument &argument : command.arguments) {
        words +=
            QStringLiteral(" %1 %2%3")
                .arg(argument.isRequired ? QStringLiteral("Ar") : QStringLiteral("Op Ar"),
                     argument.name, argument.isRepeatable ? QStringLiteral(" ...") : QString());
    }
    return words;
}

QString commandSection(const Command &command)
{
    QString text = QStringLiteral(".Ss %1\n").arg(command.name);
    text += QStringLiteral(".Nm\n.Cm %1%2\n.Op Ar option ...\n.Pp\n")
                .arg(command.name, argumentsOf(command));
    text += command.description.isEmpty() ? sentence(command.summary) : QString();
    for (int at = 0; at < command.description.size(); ++at)
        text +=
            (at > 0 ? QStringLiteral(".Pp\n") : QString()) + paragraph(command.description.at(at));
    QString items;
    for (const Argument &argument : command.arguments)
        items += QStringLiteral(".It Ar %1\n").arg(argument.name) + sentence(argument.help);
    text += list(items + optionItems(command.options));
    QString fields;
    for (const auto &[name, meaning] : command.fields)
        fields += QStringLiteral(".It Li %1\n").arg(name) + sentence(meaning);
    if (!fields.isEmpty())
        text += QLatin1String(".Pp\nFields of its JSON:\n") + list(fields);
    return text;
}

QString commandSections()
{
    QString text;
    for (const Command &command : commands())
        text += commandSection(command);
    return text;
}

QString statusItems()
{
    QString items;
    for (const auto &[status, meaning] : exitStatuses())
        items += QStringLiteral(".It %1\n").arg(status) + sentence(meaning);
    return items;
}

QString environmentItems()
{
    return QStringLiteral(
        ".It Ev DBUS_SYSTEM_BUS_ADDRESS\nThe address of the bus, if it is not the system bus.\n"
        ".It Ev NO_COLOR\nIf set, output has no colours.\n"
        ".It Ev PAGER\nThe program that shows output that is longer than the terminal; default: "
        "less.\n"
        ".It Ev XDG_DATA_HOME , XDG_DATA_DIRS\n"
        "Where desktop entries and task types are looked for.\n");
}

} // namespace

QByteArray manPage()
{
    const QString page =
        QLatin1String(".\\\" Generated from the tool's table of commands: change that, "
                      "then run tst_generated_files with\n"
                      ".\\\" ORVANE_UPDATE_DOCS=1.\n"
                      ".Dd November 21, 2026\n.Dt ORVANECTL 1\n.Os Orvane\n"
                      ".Sh NAME\n.Nm orvanectl\n"
                      ".Nd show and control background tasks\n"
                      ".Sh SYNOPSIS\n.Nm\n.Ar command\n.Op Ar argument ...\n"
                      ".Op Ar option ...\n.Nm\n.Fl \\-help | Fl \\-version\n"
                      ".Sh DESCRIPTION\n.Nm\n"
                      "shows the background tasks that applications declare\n"
                      ".Pq see Xr orvane\\-task 5 ,\n"
                      "and starts, stops and watches them.\n"
                      "Commands that only read need no privileges.\n"
                      "Output is for people; programs should use\n.Fl \\-json ,\n"
                      "whose field names do not change.\n"
                      ".Pp\nOptions of every command:\n")
        + list(optionItems(commonOptions())) + QLatin1String(".Sh COMMANDS\n") + commandSections()
        + QLatin1String(".Sh ENVIRONMENT\n") + list(environmentItems())
        + QLatin1String(".Sh EXIT STATUS\n") + list(statusItems())
        + QLatin1String(".Sh SEE ALSO\n.Xr journalctl 1 ,\n.Xr systemctl 1 ,\n"
                        ".Xr orvane\\-task 5 ,\n.Xr orvane 8\n");
    return page.toUtf8();
}

} // namespace Cli

#include "cli/completion.h"

#include "cli/command.h"

namespace Cli {

namespace {

QString head()
{
    return QStringLiteral(
        "# Completion of orvanectl. Generated from the tool's table of commands: change that, then "
        "run\n# tst_generated_files with ORVANE_UPDATE_DOCS=1.\n");
}

// A shell command that prints the first word of each row of a table.
QString firstWordsOf(const QString &command)
{
    return QStringLiteral("orvanectl %1 2>/dev/null | sed -n '2,$s/ .*//p'").arg(command);
}

// The source of completions for a word: the output of a command, file names, or nothing.
struct Source
{
    QString command;
    bool isFiles = false;

    [[nodiscard]] bool isEmpty() const { return command.isEmpty() && !isFiles; }
    bool operator==(const Source &other) const
    {
        return command == other.command && isFiles == other.isFiles;
    }
};

Source sourceOf(Kind kind)
{
    switch (kind) {
    case Kind::Task:
        return {firstWordsOf(QStringLiteral("tasks"))};
    case Kind::TaskType:
        return {firstWordsOf(QStringLiteral("types"))};
    case Kind::Application:
        return {
            QStringLiteral("orvanectl tasks 2>/dev/null | sed -n '2,$s/\\.task_.*//p' | sort -u")};
    case Kind::User:
        return {QStringLiteral("getent passwd | cut -d: -f1")};
    case Kind::Path:
        return {{}, true};
    case Kind::Text:
    case Kind::Number:
        break;
    }
    return {};
}

QString dashed(const Option &option) { return QStringLiteral("--") + option.name; }

QStringList dashedOptionsOf(const Command &command)
{
    QStringList names;
    for (const Option &option : allOptionsOf(command))
        names.append(dashed(option));
    return names;
}

QStringList commandNames()
{
    QStringList names;
    for (const Command &command : commands())
        names.append(command.name);
    return names;
}

// The sources for the first argument and for the further ones, which are all completed like the
// second.
Source firstSourceOf(const Command &command)
{
    if (command.arguments.isEmpty())
        return {};
    const Argument &first = command.arguments.constFirst();
    if (first.choices.isEmpty())
        return sourceOf(first.kind);
    return {QStringLiteral("echo ") + first.choices.join(QLatin1Char(' '))};
}

Source furtherSourceOf(const Command &command)
{
    return command.arguments.size() > 1 ? sourceOf(command.arguments.at(1).kind)
                                        : firstSourceOf(command);
}

QString bashAction(const Source &source)
{
    if (source.isFiles)
        return QStringLiteral(" files=yes");
    return source.isEmpty() ? QString() : QStringLiteral(" words=$(%1)").arg(source.command);
}

// A case for each option that takes a value.
// @param pattern matches the command; its quote is left open.
QString bashValues(const QString &pattern, const QVector<Option> &options)
{
    QString cases;
    for (const Option &option : options) {
        if (!option.value.isEmpty())
            cases += QStringLiteral("    %1 %2')%3 ;;\n")
                         .arg(pattern, dashed(option), bashAction(sourceOf(option.kind)));
    }
    return cases;
}

QString bashWords(const Command &command)
{
    const Source first = firstSourceOf(command);
    const Source further = furtherSourceOf(command);
    QString cases = QStringLiteral("    '%1 '*' -'*) words='%2' ;;\n")
                        .arg(command.name, dashedOptionsOf(command).join(QLatin1Char(' ')));
    // For the first argument, the previous word is the command itself.
    if (!(first == further))
        cases += QStringLiteral("    '%1 %1 '*)%2 ;;\n").arg(command.name, bashAction(first));
    if (!further.isEmpty())
        cases += QStringLiteral("    '%1 '*)%2 ;;\n").arg(command.name, bashAction(further));
    return cases;
}

// Escapes a text for single quotes.
QString withQuotesEscaped(QString text)
{
    return text.replace(QLatin1Char('\''), QLatin1String("'\\''"));
}

// Escapes a text for the brackets of a zsh specification.
QString zshText(QString text)
{
    for (const char *character : {"[", "]", ":"})
        text.replace(QLatin1String(character), QLatin1Char('\\') + QLatin1String(character));
    return withQuotesEscaped(text);
}

QString zshAction(const QString &name, Kind kind)
{
    const Source source = sourceOf(kind);
    QString action;
    if (source.isFiles)
        action = QStringLiteral("_files");
    else if (!source.isEmpty())
        action =
            QStringLiteral("{compadd -- ${(f)\"$(%1)\"}}").arg(withQuotesEscaped(source.command));
    return QStringLiteral(":%1:%2").arg(name.toLower(), action);
}

QString zshOption(const Option &option)
{
    const QString name = dashed(option);
    const QString value = option.value.isEmpty() ? QString() : zshAction(option.value, option.kind);
    return QStringLiteral("'%1%2[%3]%4'")
        .arg(option.isRepeatable ? QStringLiteral("*") : QString(), name, zshText(option.help),
             value);
}

QString zshArgument(int number, const Argument &argument)
{
    const QString action = argument.choices.isEmpty()
        ? zshAction(argument.name, argument.kind)
        : QStringLiteral(":%1:(%2)")
              .arg(argument.name.toLower(), argument.choices.join(QLatin1Char(' ')));
    const QString place = argument.isRepeatable ? QStringLiteral("*") : QString::number(number);
    // A second colon marks it as optional, which a star implies.
    const bool mayBeLeftOut = !argument.isRequired && !argument.isRepeatable;
    return QStringLiteral("'%1%2%3'")
        .arg(place, mayBeLeftOut ? QStringLiteral(":") : QString(), action);
}

QString zshCase(const Command &command)
{
    QStringList words;
    int number = 0;
    for (const Argument &argument : command.arguments)
        words.append(zshArgument(++number, argument));
    for (const Option &option : allOptionsOf(command))
        words.append(zshOption(option));
    return QStringLiteral("    %1)\n        _arguments \\\n            %2 ;;\n")
        .arg(command.name, words.join(QLatin1String(" \\\n            ")));
}

QString fishText(QString text) { return text.replace(QLatin1Char('\''), QLatin1String("\\'")); }

QString fishSource(const Source &completed)
{
    // File names are switched off for the tool as a whole.
    if (completed.isFiles)
        return QStringLiteral(" -F");
    QString source = completed.command;
    // For double quotes; $s is part of sed's script.
    source.replace(QLatin1Char('\\'), QLatin1String("\\\\"));
    source.replace(QLatin1String("$"), QLatin1String("\\$"));
    return source.isEmpty() ? source : QStringLiteral(" -a \"(%1)\"").arg(source);
}

QString fishOption(const QString &condition, const Option &option)
{
    const Source source = sourceOf(option.kind);
    const QString wanted = source.isFiles ? QStringLiteral(" -r") : QStringLiteral(" -x");
    const QString value = option.value.isEmpty() ? QString() : wanted + fishSource(source);
    return QStringLiteral("complete -c orvanectl -n '%1' -l %2%3 -d '%4'\n")
        .arg(condition, option.name, value, fishText(option.help));
}

QString fishArguments(const Command &command, const QString &condition)
{
    const QString line = QStringLiteral("complete -c orvanectl -n '%1'%2\n");
    const QString first = fishSource(firstSourceOf(command));
    const QString further = fishSource(furtherSourceOf(command));
    if (first == further)
        return first.isEmpty() ? QString() : line.arg(condition, first);
    const QString choices = command.arguments.constFirst().choices.join(QLatin1Char(' '));
    return line.arg(condition + QStringLiteral("; and not __fish_seen_subcommand_from ") + choices,
                    first)
        + line.arg(condition + QStringLiteral("; and __fish_seen_subcommand_from ") + choices,
                   further);
}

QString fishCommand(const Command &command)
{
    const QString condition = QStringLiteral("__fish_seen_subcommand_from ") + command.name;
    QString lines = QStringLiteral("complete -c orvanectl -n __fish_use_subcommand -a %1 -d '%2'\n")
                        .arg(command.name, fishText(command.summary));
    lines += fishArguments(command, condition);
    for (const Option &option : allOptionsOf(command))
        lines += fishOption(condition, option);
    return lines;
}

} // namespace

QByteArray bashCompletion()
{
    QString values;
    QString words;
    for (const Command &command : commands()) {
        values += bashValues(QLatin1Char('\'') + command.name, command.options);
        words += bashWords(command);
    }
    values += bashValues(QStringLiteral("*'"), commonOptions());
    const QString text = head()
        + QStringLiteral(
              "# shellcheck shell=bash\n\n"
              "_orvanectl() {\n"
              "    local words='' files='' current=${COMP_WORDS[COMP_CWORD]}\n"
              "    if [ \"$COMP_CWORD\" -eq 1 ]; then\n"
              "        words='%1 --help --version'\n"
              "    else\n"
              "        _orvanectl_words \"${COMP_WORDS[1]}\" "
              "\"${COMP_WORDS[COMP_CWORD - 1]}\" \"$current\"\n"
              "    fi\n"
              "    if [ -n \"$files\" ]; then\n"
              "        compopt -o filenames 2>/dev/null\n"
              "        mapfile -t COMPREPLY < <(compgen -f -- \"$current\")\n"
              "    else\n"
              "        mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n"
              "    fi\n"
              "}\n\n"
              "# _orvanectl_words COMMAND PREVIOUS CURRENT: the completions of CURRENT.\n"
              "_orvanectl_words() {\n"
              "    case \"$1 $2\" in\n")
              .arg(commandNames().join(QLatin1Char(' ')))
        + values
        + QStringLiteral("    *) _orvanectl_free \"$@\" ;;\n    esac\n}\n\n"
                         "# The same, when PREVIOUS is not an option that takes a value.\n"
                         "_orvanectl_free() {\n"
                         "    case \"$1 $2 $3\" in\n")
        + words + QStringLiteral("    esac\n}\n\ncomplete -F _orvanectl orvanectl\n");
    return text.toUtf8();
}

QByteArray zshCompletion()
{
    QString described;
    QString cases;
    for (const Command &command : commands()) {
        described += QStringLiteral("        '%1:%2'\n")
                         .arg(command.name, withQuotesEscaped(command.summary));
        cases += zshCase(command);
    }
    const QString text = QStringLiteral("#compdef orvanectl\n") + head()
        + QStringLiteral("\n_orvanectl() {\n    local -a commands=(\n") + described
        + QStringLiteral("    )\n"
                         "    if (( CURRENT == 2 )); then\n"
                         "        _describe command commands\n"
                         "        return\n"
                         "    fi\n"
                         "    local command=$words[2]\n"
                         "    shift words\n"
                         "    (( CURRENT-- ))\n"
                         "    case $command in\n")
        + cases + QStringLiteral("    esac\n}\n\n_orvanectl \"$@\"\n");
    return text.toUtf8();
}

QByteArray fishCompletion()
{
    QString lines = QStringLiteral("complete -c orvanectl -f\n"
                                   "complete -c orvanectl -n __fish_use_subcommand -l help "
                                   "-d 'print help'\n"
                                   "complete -c orvanectl -n __fish_use_subcommand -l version "
                                   "-d 'print the version'\n");
    for (const Command &command : commands())
        lines += fishCommand(command);
    return (head() + QLatin1Char('\n') + lines).toUtf8();
}

} // namespace Cli

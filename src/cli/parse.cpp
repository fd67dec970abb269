#include "cli/parse.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Cli {

namespace {

using Values = std::vector<std::string>;

// A command as the parser library knows it, and the storage for its values.
struct ParsedCommand
{
    const Command *command = nullptr;
    CLI::App *parser = nullptr;
    std::map<QString, CLI::Option *> options;
    // Allocated one by one, because the parser keeps their addresses.
    std::vector<std::unique_ptr<Values>> values;
    std::vector<Values *> arguments;
};

Values *newPlace(ParsedCommand &command)
{
    command.values.push_back(std::make_unique<Values>());
    return command.values.back().get();
}

// The error for a text that is not a valid number of the option; empty when it is.
std::string numberError(const std::string &text, int least)
{
    bool isNumber = false;
    const int number = QString::fromStdString(text).toInt(&isNumber);
    if (!isNumber)
        return text + " is not a number";
    return number < least ? text + " is less than " + std::to_string(least) : std::string();
}

// The error for a text that is not one of the words; empty when it is.
std::string choiceError(const std::string &text, const QStringList &words)
{
    if (words.contains(QString::fromStdString(text)))
        return {};
    return text + " is not one of " + words.join(QStringLiteral(", ")).toStdString();
}

void addOption(ParsedCommand &command, const Option &option)
{
    const std::string name = "--" + option.name.toStdString();
    const std::string help = option.help.toStdString();
    CLI::Option *added = nullptr;
    if (option.value.isEmpty()) {
        added = command.parser->add_flag(name, help)->disable_flag_override();
    } else {
        added = command.parser->add_option(name, *newPlace(command), help);
        // One word per use: the next word is an argument again.
        added->type_size(1)
            ->expected(1, option.isRepeatable ? CLI::detail::expected_max_vector_size : 1)
            ->allow_extra_args(false);
        // The name of the value in error messages.
        added->type_name(option.value.toStdString());
        if (option.kind == Kind::Number)
            added->check([least = option.least](
                             const std::string &text) { return numberError(text, least); },
                         {}, {});
    }
    added->required(option.isRequired);
    command.options[option.name] = added;
}

void addArgument(ParsedCommand &command, const Argument &argument)
{
    Values *place = newPlace(command);
    CLI::Option *added = command.parser->add_option(argument.name.toStdString(), *place,
                                                    argument.help.toStdString());
    // One word unless it may be repeated: the next word is the next argument.
    added->type_size(1)
        ->expected(1, argument.isRepeatable ? CLI::detail::expected_max_vector_size : 1)
        ->allow_extra_args(argument.isRepeatable)
        ->required(argument.isRequired);
    if (!argument.choices.isEmpty())
        added->check([choices = argument.choices](
                         const std::string &word) { return choiceError(word, choices); },
                     {}, {});
    command.arguments.push_back(place);
}

ParsedCommand addCommand(CLI::App &parser, const Command &command)
{
    ParsedCommand added;
    added.command = &command;
    added.parser = parser.add_subcommand(command.name.toStdString());
    // Help is an option of the table like any other, so that it works even when other arguments are
    // missing.
    added.parser->set_help_flag();
    for (const Option &option : allOptionsOf(command))
        addOption(added, option);
    for (const Argument &argument : command.arguments)
        addArgument(added, argument);
    return added;
}

Request requestOf(const ParsedCommand &command)
{
    Request request;
    for (const Values *values : command.arguments) {
        for (const std::string &value : *values)
            request.arguments.append(QString::fromStdString(value));
    }
    for (const auto &[name, option] : command.options) {
        if (option->count() == 0)
            continue;
        QStringList &values = request.options[name];
        if (option->get_expected_max() == 0)
            continue;
        for (const std::string &value : option->results())
            values.append(QString::fromStdString(value));
    }
    return request;
}

// Rewords the library's errors about a value that is missing, repeated or unwanted.
QString plain(const QString &line)
{
    const QString option = line.section(QLatin1Char(':'), 0, 0);
    if (line.contains(QLatin1String(": At Most 1 required but received ")))
        return QStringLiteral("%1 may be given only once").arg(option);
    if (line.contains(QLatin1String(": 1 required ")) && line.endsWith(QLatin1String(" missing")))
        return QStringLiteral("%1 needs a value").arg(option);
    const auto switchEnd = line.indexOf(QLatin1String(" was given a disallowed flag override"));
    if (switchEnd > 0)
        return QStringLiteral("--%1 takes no value").arg(line.left(switchEnd));
    return line;
}

QString lineOf(const std::string &text)
{
    const QString line = QString::fromStdString(text).simplified();
    const auto words = line.indexOf(QLatin1String(" not expected: "));
    if (words < 0)
        return plain(line);
    const QStringList unexpected =
        line.mid(line.indexOf(QLatin1Char(':'), words) + 2).split(QLatin1Char(' '));
    for (const QString &word : unexpected) {
        if (word.startsWith(QLatin1Char('-')))
            return QStringLiteral("%1 is not an option of this command").arg(word);
    }
    return QStringLiteral("there is no argument for %1").arg(unexpected.constLast());
}

const Command *commandNamed(const QString &name)
{
    for (const Command &command : commands()) {
        if (command.name == name)
            return &command;
    }
    return nullptr;
}

bool isHelp(const QString &word)
{
    return word == QLatin1String("--help") || word == QLatin1String("-h");
}

// Searched here, because the parser would report missing arguments even with --help.
bool wantsHelp(const QStringList &words)
{
    for (const QString &word : words) {
        if (word == QLatin1String("--"))
            return false;
        if (isHelp(word))
            return true;
    }
    return false;
}

} // namespace

// Splits "--name=" into the option and an empty word. The library would take the next word as the
// value.
static QStringList withEmptyValues(const QStringList &words, const Command &command)
{
    QStringList emptyValues;
    for (const Option &option : allOptionsOf(command)) {
        if (!option.value.isEmpty())
            emptyValues.append(QStringLiteral("--%1=").arg(option.name));
    }
    QStringList split;
    const auto end = std::find(words.cbegin(), words.cend(), QLatin1String("--"));
    for (auto word = words.cbegin(); word != words.cend(); ++word) {
        if (word < end && emptyValues.contains(*word))
            split << word->chopped(1) << QString();
        else
            split << *word;
    }
    return split;
}

// The library reports errors as exceptions, which are caught here.
static void parseCommand(const QStringList &words, Parsed &parsed)
{
    CLI::App parser;
    parser.set_help_flag();
    const ParsedCommand command = addCommand(parser, *parsed.command);
    Values reversed;
    for (const QString &word : withEmptyValues(words, *parsed.command))
        reversed.insert(reversed.begin(), word.toStdString());
    try {
        parser.parse(reversed);
        parsed.request = requestOf(command);
    } catch (const CLI::ParseError &error) {
        parsed.complaint = lineOf(error.what());
    }
}

Parsed parse(const QStringList &words)
{
    Parsed parsed;
    const QString first = words.value(0);
    if (words.isEmpty() || isHelp(first)) {
        parsed.wantsHelp = true;
        parsed.complaint = words.isEmpty() ? QStringLiteral("a command is missing") : QString();
    } else if (first == QLatin1String("--version")) {
        parsed.wantsVersion = true;
    } else if ((parsed.command = commandNamed(first)) == nullptr) {
        parsed.complaint = QStringLiteral("there is no command \"%1\"").arg(first);
    } else if (wantsHelp(words)) {
        parsed.wantsHelp = true;
    } else {
        parseCommand(words, parsed);
    }
    return parsed;
}

} // namespace Cli

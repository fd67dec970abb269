#pragma once

#include <QMap>
#include <QString>
#include <QStringList>
#include <QVector>

#include <limits>

namespace Cli {

class Output;

/// What may stand for an argument or an option's value: what a shell completes it with, and what
/// the parser refuses.
enum class Kind { Text, Task, TaskType, Application, User, Number, Path };

/// A word that a command takes after its name.
struct Argument
{
    /// As help shows it: TASK.
    QString name;
    Kind kind;
    QString help;
    bool isRequired = true;
    /// Whether more than one may be given; only the last argument of a command.
    bool isRepeatable = false;
    /// The words that it may be; empty where any may stand.
    QStringList choices{};
};

/// An option of a command, --name or --name VALUE.
struct Option
{
    /// Without the dashes.
    QString name;
    /// As help shows its value, USER; empty for a switch.
    QString value;
    Kind kind;
    QString help;
    bool isRequired = false;
    /// Whether it may be given more than once.
    bool isRepeatable = false;
    /// The least number that its value may be, where it is one.
    int least = std::numeric_limits<int>::min();
};

/// A parsed command line.
class Request
{
public:
    QStringList arguments;
    /// By option name; a switch that was given has an empty list of values.
    QMap<QString, QStringList> options;

    [[nodiscard]] bool has(const QString &option) const { return options.contains(option); }
    /// The value of an option, or nothing.
    [[nodiscard]] QString value(const QString &option) const
    {
        return options.value(option).value(0);
    }
    [[nodiscard]] QStringList values(const QString &option) const { return options.value(option); }
};

/// One command of the tool: all that the parser, help, the manual page and completion know of it.
struct Command
{
    QString name;
    /// What it does, in a line: "start a task".
    QString summary;
    /// Paragraphs for its help and the manual page.
    QStringList description;
    QVector<Argument> arguments;
    QVector<Option> options;
    /// What --json prints: the fields by name, for the manual page. Empty when it prints nothing.
    QVector<QPair<QString, QString>> fields;
    /// Runs it. Gives what the tool exits with.
    int (*run)(const Request &request, Output &output);
};

/// All commands, in the order in which help lists them.
[[nodiscard]] const QVector<Command> &commands();
/// The options that every command has, besides its own.
[[nodiscard]] const QVector<Option> &commonOptions();
/// A command's own options and the common ones.
[[nodiscard]] QVector<Option> allOptionsOf(const Command &command);
/// What each exit status means, for help and the manual page.
[[nodiscard]] QVector<QPair<int, QString>> exitStatuses();

} // namespace Cli

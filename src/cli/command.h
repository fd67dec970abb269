#pragma once

#include <QMap>
#include <QString>
#include <QStringList>
#include <QVector>

#include <limits>

namespace Cli {

class Output;

/// The kind of an argument or of an option's value. It decides what the shell completes and what
/// the parser refuses.
enum class Kind { Text, Task, TaskType, Application, User, Number, Path };

/// A positional argument of a command.
struct Argument
{
    /// The name shown in help: TASK.
    QString name;
    Kind kind;
    QString help;
    bool isRequired = true;
    /// Whether it may be given more than once; only for the last argument of a command.
    bool isRepeatable = false;
    /// The values that are allowed; empty when any value is.
    QStringList choices{};
};

/// An option of a command, --name or --name VALUE.
struct Option
{
    /// Without the dashes.
    QString name;
    /// The name of its value shown in help, USER; empty for a switch.
    QString value;
    Kind kind;
    QString help;
    bool isRequired = false;
    /// Whether it may be given more than once.
    bool isRepeatable = false;
    /// The minimum of a number.
    int least = std::numeric_limits<int>::min();
};

/// A parsed command line.
class Request
{
public:
    QStringList arguments;
    /// By option name; a switch that was given has an empty list.
    QMap<QString, QStringList> options;

    [[nodiscard]] bool has(const QString &option) const { return options.contains(option); }
    /// The value of an option; empty when it was not given.
    [[nodiscard]] QString value(const QString &option) const
    {
        return options.value(option).value(0);
    }
    [[nodiscard]] QStringList values(const QString &option) const { return options.value(option); }
};

/// One command of the tool: everything that the parser, the help, the man page and the completions
/// need.
struct Command
{
    QString name;
    /// What it does in one line: "start a task".
    QString summary;
    /// Paragraphs for its help and the man page.
    QStringList description;
    QVector<Argument> arguments;
    QVector<Option> options;
    /// The fields that --json prints, for the man page. Empty when it prints nothing.
    QVector<QPair<QString, QString>> fields;
    /// Runs the command and returns the exit status of the tool.
    int (*run)(const Request &request, Output &output);
};

/// All commands, in the order in which help lists them.
[[nodiscard]] const QVector<Command> &commands();
/// The options that every command has in addition to its own.
[[nodiscard]] const QVector<Option> &commonOptions();
/// A command's own options and the common ones.
[[nodiscard]] QVector<Option> allOptionsOf(const Command &command);
/// The meaning of each exit status, for help and the man page.
[[nodiscard]] QVector<QPair<int, QString>> exitStatuses();

} // namespace Cli

#pragma once

#include "cli/table.h"
#include "cli/terminal.h"

#include <QJsonObject>
#include <QString>
#include <QStringList>

namespace Client {
struct Outcome;
}

namespace Cli {

/// Prints all output of the tool. Decides between text and JSON, fits tables to the terminal, adds
/// colours and runs the pager.
class Output
{
public:
    enum class Colour { None, Red, Green, Yellow };

    /// @param isJson whether --json was given.
    /// @param mayPage whether long output may go through a pager.
    Output(bool isJson, bool mayPage);

    [[nodiscard]] bool isJson() const { return m_isJson; }
    /// Whether all output could be written.
    [[nodiscard]] bool isComplete() const { return m_isComplete; }
    [[nodiscard]] const Terminal &terminal() const { return m_terminal; }

    /// Prints an object as one line.
    void print(const QJsonObject &object);
    /// Prints a table, fitted to the terminal, through a pager when it is longer than the terminal.
    void print(const Table &table);
    /// Prints lines, through a pager when there are more than the terminal shows.
    void print(const QStringList &lines);
    /// Prints the line of an event, at once and never through a pager.
    void printEvent(const QString &line);
    /// Clears the screen, if the output is a terminal.
    void clearScreen();
    /// Adds a colour to the text, if colours are used.
    [[nodiscard]] QString coloured(const QString &text, Colour colour) const;

    /// Prints one line on standard error that says what is wrong and what to do.
    /// @return status, for a return statement.
    static int fail(int status, const QString &text);
    /// The same for a failed call; the status distinguishes an unreachable service from a refusal.
    static int fail(const Client::Outcome &outcome);
    /// Prints one line on standard error about something that was done but may have no effect.
    static void warn(const QString &text);

private:
    void write(const QByteArray &text);
    [[nodiscard]] bool page(const QByteArray &text) const;

    const bool m_isJson;
    const bool m_mayPage;
    bool m_isComplete = true;
    Terminal m_terminal;
};

} // namespace Cli

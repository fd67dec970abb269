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

/// All that the tool prints goes through here: it decides between text and JSON, fits tables into
/// the terminal, colours and pages.
class Output
{
public:
    enum class Colour { None, Red, Green, Yellow };

    /// @param isJson whether --json was given.
    /// @param mayPage whether long output may be shown page by page.
    Output(bool isJson, bool mayPage);

    [[nodiscard]] bool isJson() const { return m_isJson; }
    /// Whether everything that was printed could be written.
    [[nodiscard]] bool isWhole() const { return m_isWhole; }
    [[nodiscard]] const Terminal &terminal() const { return m_terminal; }

    /// Prints an object as one line.
    void print(const QJsonObject &object);
    /// Prints a table, fitted into the terminal, through a pager when it is longer than that.
    void print(const Table &table);
    /// Prints lines, through a pager when they are more than the terminal has.
    void print(const QStringList &lines);
    /// Prints one line of what goes on, at once and never through a pager.
    void printEvent(const QString &line);
    /// Clears the terminal, if there is one, so that what follows replaces what was there.
    void startAnew();
    /// The text in a colour, where there are colours.
    [[nodiscard]] QString coloured(const QString &text, Colour colour) const;

    /// Says in one line on standard error what is wrong and what to do.
    /// @return status, for a return statement.
    static int fail(int status, const QString &text);
    /// The same of a call that failed: tells a service that cannot be reached from a refusal.
    static int fail(const Client::Outcome &outcome);

private:
    void write(const QByteArray &text);
    [[nodiscard]] bool page(const QByteArray &text) const;

    const bool m_isJson;
    const bool m_mayPage;
    bool m_isWhole = true;
    Terminal m_terminal;
};

} // namespace Cli

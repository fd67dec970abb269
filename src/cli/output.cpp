#include "cli/output.h"

#include "cli/exit_status.h"
#include "client/outcome.h"

#include <QJsonDocument>
#include <QProcess>

#include <cerrno>
#include <csignal>
#include <cstdio>

namespace Cli {

namespace {

// False when not everything could be written.
bool write(FILE *file, const QByteArray &bytes)
{
    const auto size = static_cast<size_t>(bytes.size());
    const bool isWritten = fwrite(bytes.constData(), 1, size, file) == size && fflush(file) == 0;
    // The reader has closed the pipe. Ends the tool by the signal as usual, although the bus
    // library or the parent process ignores it.
    if (!isWritten && errno == EPIPE) {
        (void)std::signal(SIGPIPE, SIG_DFL);
        (void)std::raise(SIGPIPE);
    }
    return isWritten;
}

QByteArray textOf(const QStringList &lines)
{
    QByteArray text;
    for (const QString &line : lines)
        text += line.toUtf8() + '\n';
    return text;
}

} // namespace

Output::Output(bool isJson, bool mayPage)
    : m_isJson(isJson)
    , m_mayPage(mayPage)
    , m_terminal(Terminal::ofStandardOutput())
{
}

void Output::write(const QByteArray &text)
{
    if (!Cli::write(stdout, text))
        m_isComplete = false;
}

void Output::print(const QJsonObject &object)
{
    write(QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n');
}

void Output::print(const Table &table) { print(table.lines(m_terminal.width)); }

void Output::print(const QStringList &lines)
{
    const QByteArray text = textOf(lines);
    const bool isLong = m_terminal.isTerminal() && lines.size() >= m_terminal.height;
    if (!isLong || !m_mayPage || !page(text))
        write(text);
}

void Output::printEvent(const QString &line) { write(line.toUtf8() + '\n'); }

void Output::clearScreen()
{
    if (m_terminal.isTerminal()) {
        write(QByteArrayLiteral("\033[H\033[2J"));
        // Its size may have changed.
        m_terminal = Terminal::ofStandardOutput();
    }
}

QString Output::coloured(const QString &text, Colour colour) const
{
    if (!m_terminal.hasColour || colour == Colour::None)
        return text;
    const char *code = colour == Colour::Red ? "31" : colour == Colour::Green ? "32" : "33";
    return QStringLiteral("\033[%1m%2\033[0m").arg(QLatin1String(code), text);
}

int Output::fail(int status, const QString &text)
{
    (void)Cli::write(stderr, "orvanectl: " + printable(text).toUtf8() + '\n');
    return status;
}

int Output::fail(const Client::Outcome &outcome)
{
    if (!outcome.isUnreachable())
        return fail(No, outcome.toString());
    return fail(Unreachable,
                QStringLiteral("%1; see: systemctl status dbus.service orvane.service")
                    .arg(outcome.toString()));
}

void Output::warn(const QString &text) { (void)fail(Done, QStringLiteral("warning: ") + text); }

// False when the pager could not be run.
bool Output::page(const QByteArray &text) const
{
    const QString pager = qEnvironmentVariable("PAGER", QStringLiteral("less"));
    if (pager.isEmpty() || pager == QLatin1String("cat"))
        return false;
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // less leaves its text on the screen, and does not let the user start a shell.
    if (!environment.contains(QStringLiteral("LESS")))
        environment.insert(QStringLiteral("LESS"), QStringLiteral("FRX"));
    environment.insert(QStringLiteral("LESSSECURE"), QStringLiteral("1"));
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::ForwardedChannels);
    process.start(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), pager});
    process.write(text);
    process.closeWriteChannel();
    return process.waitForFinished(-1) && process.exitStatus() == QProcess::NormalExit
        && process.exitCode() == 0;
}

} // namespace Cli

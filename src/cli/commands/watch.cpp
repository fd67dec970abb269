// orvanectl watch

#include "cli/commands/all.h"
#include "cli/declared_tasks.h"
#include "cli/exit_status.h"
#include "cli/output.h"
#include "cli/run_feed.h"
#include "cli/words.h"
#include "common/DBus/receive_limits.h"

#include <QCoreApplication>
#include <QDateTime>

#include <algorithm>

namespace Cli {

namespace {

struct Shown
{
    const char *name;
    Output::Colour colour;
};

Shown shownAs(RunEvent::Kind kind)
{
    switch (kind) {
    case RunEvent::Running:
        return {"running", Output::Colour::None};
    case RunEvent::Started:
        return {"started", Output::Colour::Green};
    case RunEvent::Ended:
        return {"ended", Output::Colour::None};
    case RunEvent::Failed:
        break;
    }
    return {"failed", Output::Colour::Red};
}

bool isOver(const RunEvent &event)
{
    return event.kind == RunEvent::Ended || event.kind == RunEvent::Failed;
}

// Prints each event on a line.
class Watcher
{
public:
    Watcher(Output &output, const Request &request)
        : m_output(output)
        , m_type(request.value(QStringLiteral("type")))
    {
    }

    [[nodiscard]] const QString &type() const { return m_type; }

    void report(const RunEvent &event)
    {
        const DeclaredTask task = declaredTask(event.taskId);
        if (!m_type.isEmpty() && task.type != m_type)
            return;
        if (m_output.isJson())
            reportAsJson(event, task.type);
        else
            reportAsText(event);
    }

    // Announces that no event will be missed from now on.
    void reportWatching()
    {
        const QDateTime now = QDateTime::currentDateTime();
        if (m_output.isJson())
            m_output.print(QJsonObject{{QStringLiteral("event"), QStringLiteral("watching")},
                                       {QStringLiteral("time"), timeOf(now)}});
        else
            m_output.printEvent(now.toString(QStringLiteral("hh:mm:ss"))
                                + QStringLiteral("  watching (end with Ctrl-C)"));
    }

private:
    static QString timeOf(const QDateTime &time)
    {
        return isoMomentOf(static_cast<quint64>(time.toMSecsSinceEpoch()) * 1000);
    }

    void reportAsJson(const RunEvent &event, const QString &type)
    {
        QJsonObject object{{QStringLiteral("event"), QString::fromLatin1(shownAs(event.kind).name)},
                           {QStringLiteral("time"), timeOf(QDateTime::currentDateTime())},
                           {QStringLiteral("task"), event.taskId}};
        if (!type.isEmpty())
            object.insert(QStringLiteral("type"), type);
        if (event.pid > 0)
            object.insert(QStringLiteral("pid"), event.pid);
        if (isOver(event))
            event.result.addTo(object);
        m_output.print(object);
    }

    void reportAsText(const RunEvent &event)
    {
        const Shown shown = shownAs(event.kind);
        constexpr int longest = 8;
        const QString kind = QString::fromLatin1(shown.name).leftJustified(longest);
        const QString detail = isOver(event) ? event.result.toString()
            : event.pid > 0                  ? QStringLiteral("process %1").arg(event.pid)
                                             : QString();
        const QString end = detail.isEmpty() ? detail : QStringLiteral(": ") + detail;
        const QString time = QDateTime::currentDateTime().toString(QStringLiteral("hh:mm:ss"))
            + QStringLiteral("  ");
        const QString start = time + m_output.coloured(kind, shown.colour) + QLatin1Char(' ');
        const int room = m_output.terminal().width - static_cast<int>(time.size()) - longest - 1;
        m_output.printEvent(start + fitted(printable(event.taskId), end, room));
    }

    // Fits an event on a terminal's line. The id is shortened first, but stays long enough to be
    // recognised.
    [[nodiscard]] QString fitted(const QString &id, const QString &end, int room) const
    {
        constexpr int narrowest = 32;
        if (!m_output.terminal().isTerminal())
            return id + end;
        const QString shown = shortened(id, std::max(narrowest, room - displayWidth(end)));
        return shown + shortened(end, std::max(narrowest, room - displayWidth(shown)));
    }

    Output &m_output;
    const QString m_type;
};

void exitUnlessReady(const Client::Outcome &outcome, Watcher &watcher)
{
    if (outcome)
        QCoreApplication::exit(Output::fail(outcome));
    else
        watcher.reportWatching();
}

int watchSession(const QDBusConnection &bus, Watcher &watcher)
{
    SessionFeed feed(bus);
    QObject::connect(&feed, &SessionFeed::happened, &feed,
                     [&watcher](const RunEvent &event) { watcher.report(event); });
    feed.begin(watcher.type(), [&watcher](const Client::Outcome &outcome, const QString &) {
        exitUnlessReady(outcome, watcher);
    });
    return QCoreApplication::exec();
}

int watchUnits(const QDBusConnection &bus, Watcher &watcher)
{
    RunFeed feed(bus);
    QObject::connect(&feed, &RunFeed::happened, &feed,
                     [&watcher](const RunEvent &event) { watcher.report(event); });
    QObject::connect(&feed, &RunFeed::disconnected, &feed, [] {
        QCoreApplication::exit(
            Output::fail(Unreachable,
                         QStringLiteral("the bus closed the connection; start the "
                                        "command again when the bus is back")));
    });
    feed.begin([&watcher](const Client::Outcome &outcome) { exitUnlessReady(outcome, watcher); });
    return QCoreApplication::exec();
}

int run(const Request &request, Output &output)
{
    const QDBusConnection bus = QDBusConnection::systemBus();
    // Many events at once must not fill the connection's queue.
    DBus::liftReceiveLimits(bus);
    Watcher watcher(output, request);
    return !watcher.type().isEmpty() && worksInSession(watcher.type()) ? watchSession(bus, watcher)
                                                                       : watchUnits(bus, watcher);
}

QVector<QPair<QString, QString>> fields()
{
    return {{QStringLiteral("event"),
             QStringLiteral("\"running\" for a task that was already running, \"watching\" from "
                            "when no event is missed, then \"started\", \"ended\" and \"failed\"")},
            {QStringLiteral("time"), QStringLiteral("when it was reported, in ISO 8601")},
            {QStringLiteral("task"), QStringLiteral("the full id; absent with \"watching\"")},
            {QStringLiteral("type"), QStringLiteral("its type, if it is declared")},
            {QStringLiteral("pid"), QStringLiteral("its main process, if known")},
            {QStringLiteral("result"),
             QStringLiteral("systemd's result of a run that is over: \"success\", \"exit-code\", "
                            "\"signal\", \"oom-kill\" and others; empty when unknown")},
            {QStringLiteral("exitStatus"), QStringLiteral("the exit status, if it exited")},
            {QStringLiteral("signal"), QStringLiteral("the signal that killed it, if one did")},
            {QStringLiteral("reason"), QStringLiteral("the result as text for people")}};
}

} // namespace

Command watchCommand()
{
    Command command;
    command.name = QStringLiteral("watch");
    command.summary = QStringLiteral("print each start and end of a task as it happens");
    command.description = QStringList{
        QStringLiteral(
            "Prints a line for each task that runs, and then one for each start, end and failure "
            "as it happens, until you press Ctrl-C. Even a very short run has both of its lines."),
        QStringLiteral("Tasks of the user's session are not units of the system: give their type "
                       "to watch them through the per-user service, which reports no results, and "
                       "misses runs that end before it lists them.")};
    command.options = {{QStringLiteral("type"), QStringLiteral("TYPE"), Kind::TaskType,
                        QStringLiteral("only tasks of this type")}};
    command.fields = fields();
    command.run = run;
    return command;
}

} // namespace Cli

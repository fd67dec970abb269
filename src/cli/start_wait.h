#pragma once

#include "cli/run_feed.h"
#include "client/start_request.h"

#include <QTimer>

#include <functional>
#include <memory>

namespace Cli {

/// The result of a start. A plain value.
struct StartOutcome
{
    enum Kind { Accepted, Running, Ended, Failed, Refused };

    Kind kind = Refused;
    /// Why it was refused.
    Client::Outcome refusal;
    /// Main process; -1 while unknown.
    int pid = -1;
    /// How the run ended, if it did.
    RunResult result;
    /// Whether it was already running, so that nothing was started.
    bool ranBefore = false;
    /// Whether it was already running and the start changed its unit, which that run does not use.
    bool isOutdated = false;
};

/// Starts one task and waits for the result. It subscribes to events before it starts the task, so
/// that even a very short run is seen.
class StartWait : public QObject
{
    Q_OBJECT

public:
    /// How long a task has to run to count as running, in milliseconds. Most failures, such as a
    /// missing program or a sandbox option that is refused, happen at once.
    static constexpr int settleMs = 1000;
    /// How long the per-user service may take to list a task, in milliseconds.
    static constexpr int listedMs = 10000;

    using Done = std::function<void(const StartOutcome &)>;

    StartWait(const QDBusConnection &bus, QString taskId);

    /// Starts a task that is a unit of the system. Call one of the two, once.
    void startUnit(const QString &type, const Client::StartRequest &request, Done done);
    /// Starts a task of the user's session.
    void startInSession(const QString &type, const Client::StartRequest &request, Done done);

private:
    void registerAndStart(const QString &type, const Client::StartRequest &request);
    void onStarted(const Client::Outcome &outcome);
    void onEvent(const RunEvent &event);
    void onJobRemoved(const QString &taskId, const QString &result);
    void settle(const StartOutcome &outcome);
    void finish(const StartOutcome &outcome);

    QDBusConnection m_bus;
    const QString m_taskId;
    RunFeed m_units;
    SessionFeed m_session;
    QTimer m_settled;
    Done m_done;
    // The result so far; reported only once the daemon has also answered.
    StartOutcome m_outcome;
    bool m_isSent = false;
    bool m_isAccepted = false;
    bool m_isOver = false;
};

} // namespace Cli

#include "cli/start_wait.h"

#include <utility>

namespace Cli {

StartWait::StartWait(const QDBusConnection &bus, QString taskId)
    : m_bus(bus)
    , m_taskId(std::move(taskId))
    , m_units(bus)
    , m_session(bus)
{
    m_settled.setSingleShot(true);
    connect(&m_settled, &QTimer::timeout, this, [this] { finish(m_outcome); });
    connect(&m_units, &RunFeed::happened, this, &StartWait::onEvent);
    connect(&m_units, &RunFeed::jobRemoved, this, &StartWait::onJobRemoved);
    connect(&m_units, &RunFeed::disconnected, this, [this] {
        finish({StartOutcome::Refused, Client::outcomeOf(QDBusMessage()), -1, {}});
    });
    connect(&m_session, &SessionFeed::happened, this, &StartWait::onEvent);
}

void StartWait::startUnit(const QString &type, const Client::StartRequest &request, Done done)
{
    m_done = std::move(done);
    m_units.begin([this, type, request](const Client::Outcome &outcome) {
        if (outcome)
            finish({StartOutcome::Refused, outcome, -1, {}});
        else
            registerAndStart(type, request);
    });
}

void StartWait::registerAndStart(const QString &type, const Client::StartRequest &request)
{
    Client::Daemon &daemon = m_session.daemon();
    daemon.registerInvoker(
        type,
        [this, &daemon, request](const Client::Outcome &outcome, const Client::Session &session) {
            if (outcome) {
                finish({StartOutcome::Refused, outcome, -1, {}});
                return;
            }
            m_isSent = true;
            daemon.start(session.path, m_taskId, request,
                         [this](const Client::Outcome &started) { onStarted(started); });
        });
}

void StartWait::startInSession(const QString &type, const Client::StartRequest &request, Done done)
{
    m_done = std::move(done);
    m_session.begin(type, [this, request](const Client::Outcome &outcome, const QString &session) {
        if (outcome) {
            finish({StartOutcome::Refused, outcome, -1, {}});
            return;
        }
        // If the task is already running, the list will not change.
        const bool runsAlready = m_outcome.kind == StartOutcome::Running;
        m_isSent = true;
        m_session.daemon().start(session, m_taskId, request,
                                 [this](const Client::Outcome &started) { onStarted(started); });
        const auto onTimeout = [this] {
            if (m_outcome.kind != StartOutcome::Running) {
                m_outcome = {
                    StartOutcome::Failed,
                    {},
                    -1,
                    {QStringLiteral("the per-user service does not list it as running"), 0, 0}};
            }
            finish(m_outcome);
        };
        QTimer::singleShot(runsAlready ? settleMs : listedMs, this, onTimeout);
    });
}

void StartWait::onStarted(const Client::Outcome &outcome)
{
    if (outcome) {
        finish({StartOutcome::Refused, outcome, -1, {}});
        return;
    }
    m_isAccepted = true;
    if (m_isOver)
        finish(m_outcome);
}

void StartWait::onEvent(const RunEvent &event)
{
    if (event.taskId != m_taskId)
        return;
    if (event.kind == RunEvent::Running || event.kind == RunEvent::Started) {
        m_outcome = {StartOutcome::Running, {}, event.pid, {}};
        if (event.kind == RunEvent::Started && m_isSent)
            m_settled.start(settleMs);
        return;
    }
    // The end of an earlier run is not the result of this start.
    if (!m_isSent || (!m_settled.isActive() && event.result.result != QLatin1String("dependency")))
        return;
    settle({event.kind == RunEvent::Failed ? StartOutcome::Failed : StartOutcome::Ended,
            {},
            event.pid,
            event.result});
}

void StartWait::onJobRemoved(const QString &taskId, const QString &result)
{
    if (taskId != m_taskId || !m_isSent || m_isOver || m_settled.isActive())
        return;
    if (result != QLatin1String("done"))
        settle({StartOutcome::Failed, {}, -1, {result, 0, 0}});
    else if (m_outcome.kind == StartOutcome::Running) {
        // It was already running, so systemd had nothing to do.
        m_outcome.ranBefore = true;
        settle(m_outcome);
    }
}

// The result is final, although the daemon's answer may still be pending.
void StartWait::settle(const StartOutcome &outcome)
{
    m_settled.stop();
    m_outcome = outcome;
    m_isOver = true;
    if (m_isAccepted)
        finish(m_outcome);
}

void StartWait::finish(const StartOutcome &outcome)
{
    if (const Done done = std::exchange(m_done, nullptr))
        done(outcome);
}

} // namespace Cli

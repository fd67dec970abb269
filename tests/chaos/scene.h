#pragma once

#include "chaos/answer_counter.h"
#include "chaos/snapshot.h"
#include "support/fixture.h"
#include "support/literals.h"

#include <memory>
#include <optional>

namespace Chaos {

/// A bus, the fakes and a root that are laid out anew for each attempt. systemd's stand-in keeps
/// account of what runs, and looks whether the files of what it starts are there.
class Scene
{
public:
    static QString application() { return u"com.example.Notes"_s; }
    static QString task() { return u"com.example.Notes.task_sync"_s; }
    static QString unit() { return u"ov_task.com.example.Notes.task_sync.service"_s; }

    /// @param busConfiguration see PrivateBus.
    explicit Scene(const QString &busConfiguration = {});
    ~Scene();
    Q_DISABLE_COPY(Scene)

    /// Ends the daemon and puts every file, unit and peer back to what each attempt begins with.
    void renew();
    /// Starts the daemon and waits for its name.
    /// @param wrapper see DaemonProcess::runUnder().
    [[nodiscard]] bool startDaemon(const QStringList &wrapper = {});
    /// Starts it and waits for nothing.
    void launchDaemon(const QStringList &wrapper = {});
    void killDaemon();
    /// Has every daemon from now on started by another program: see DaemonProcess::runUnder().
    void surround(const QStringList &wrapper) { m_surroundings = wrapper; }
    /// How long every daemon from now on has to be idle before it leaves, in milliseconds.
    void setIdleTime(int timeMs) { m_idleTimeMs = timeMs; }
    /// Has another process take systemd's name, which knows the same units. Not to be called while
    /// systemd handles a call.
    /// @return who had the name before, still on the bus.
    std::unique_ptr<FakePeer> replaceSystemd();
    /// Whether the daemon's loop turns: waits for an answer that it gives itself, behind which
    /// everything that it was about to do for an earlier call is done.
    [[nodiscard]] bool isAlive();
    /// The same, and when it is not, gives a process that was killed the time to end.
    [[nodiscard]] bool isDone();
    [[nodiscard]] Snapshot snapshot() const { return snapshotOf(fixture.root.path()); }
    /// What the daemon tells a client that runs and that can be started.
    [[nodiscard]] QStringList activeTasks() const;
    [[nodiscard]] QStringList availableTasks() const;
    /// What systemd says that runs.
    [[nodiscard]] QStringList runningTasks() const;
    /// Says that a task runs.
    void run(const QString &unit);
    [[nodiscard]] QStringList environment() const;
    /// What systemd was asked to start without its unit file.
    [[nodiscard]] const QStringList &startedWithoutFile() const { return m_startedWithoutFile; }

    Fixture fixture;
    /// Asks what an attempt is not about.
    QDBusConnection observer;
    AnswerCounter answers;

private:
    void wireSystemd();
    void onSystemdCall(const QDBusMessage &call);
    void listUnitFiles();

    QStringList m_surroundings;
    std::optional<int> m_idleTimeMs;
    QStringList m_startedWithoutFile;
};

} // namespace Chaos

#pragma once

#include <QObject>

#include <chrono>
#include <functional>
#include <vector>

namespace Core {

class SystemdProxy;

/// Lets several starts share one reload of systemd, which takes 0.1 s, and up to 11 s on a slow
/// phone. At most one reload runs at a time. Starts that are requested meanwhile wait for it, then
/// share the next. Event-loop thread only.
class SharedReload : public QObject
{
    Q_OBJECT

public:
    /// Sends the call to systemd that needs the reload.
    using Operation = std::function<void()>;

    /// @param systemd has to outlive this object.
    /// @param timeout how long others wait for a reload that is not answered.
    explicit SharedReload(SystemdProxy &systemd, std::chrono::milliseconds timeout = defaultTimeout,
                          QObject *parent = nullptr);

    /// Requests a reload and runs the operation right after it was requested, without waiting for
    /// the answer. Does this at once, unless a reload is running. Operations run in the order of
    /// the calls, even if the reload fails.
    void run(Operation operation);
    /// Requests the next reload at once, for a process that is about to end.
    void sendWaiting();

    /// Longer than the slowest known reload, and shorter than the 25 s that callers wait.
    static constexpr std::chrono::milliseconds defaultTimeout{15000};

private Q_SLOTS:
    void finishReload();

private:
    SystemdProxy &m_systemd;
    const std::chrono::milliseconds m_timeout;
    /// Number of reloads without an answer. More than one only after sendWaiting() was called from
    /// outside.
    int m_underWay = 0;
    std::vector<Operation> m_waiting;
};

} // namespace Core

#pragma once

#include <QObject>

#include <chrono>
#include <functional>
#include <vector>

namespace Core {

class SystemdProxy;

/// Lets starts share systemd's reloads, which take 0.1 s each and up to 11 s on a slow phone. One
/// reload is under way at most. What is asked for meanwhile waits for its answer, and then one
/// reload goes for all of it. Event-loop thread only.
class SharedReload : public QObject
{
    Q_OBJECT

public:
    /// Asks systemd for what the reload was for.
    using Operation = std::function<void()>;

    /// @param systemd must live as long as this object.
    /// @param patience how long a reload without an answer holds up others.
    explicit SharedReload(SystemdProxy &systemd,
                          std::chrono::milliseconds patience = defaultPatience,
                          QObject *parent = nullptr);

    /// Asks for a reload and runs the operation right behind it: at once, unless a reload is under
    /// way. Operations run in the order in which they were asked for, whatever the answer says.
    void run(Operation operation);
    /// Sends what waits, without waiting any longer: for a process that has to end.
    void sendWaiting();

    /// Longer than the slowest reload that is known of, and shorter than the 25 s that callers
    /// wait.
    static constexpr std::chrono::milliseconds defaultPatience{15000};

private Q_SLOTS:
    void finishReload();

private:
    SystemdProxy &m_systemd;
    const std::chrono::milliseconds m_patience;
    /// Reloads without an answer. More than one only for a process that has to end.
    int m_underWay = 0;
    std::vector<Operation> m_waiting;
};

} // namespace Core

#pragma once

#include <QObject>

#include <functional>
#include <vector>

namespace Core {

/// Has the bus read its configuration anew, so that a policy file just written is in force. The
/// bus would do so by itself, but on its own time. Event-loop thread only.
class BusConfig : public QObject
{
    Q_OBJECT

public:
    explicit BusConfig(QObject *parent = nullptr);

    /// Asks the bus to reload and runs the callback, from the event loop, once a reload that began
    /// after this call has finished. A refused or failed reload is logged and runs it all the same:
    /// the bus then still finds the file by itself. Requests made while one is under way share the
    /// next.
    void reload(const std::function<void()> &callback);

private:
    void send();

    std::vector<std::function<void()>> m_running;
    std::vector<std::function<void()>> m_waiting;
};

} // namespace Core

#pragma once

#include <QObject>

#include <functional>
#include <vector>

namespace Core {

/// Makes the bus daemon reload its configuration, so that a new policy file takes effect at once.
/// The bus would do so by itself, but at an unknown time. Event-loop thread only.
class BusConfig : public QObject
{
    Q_OBJECT

public:
    explicit BusConfig(QObject *parent = nullptr);

    /// Asks the bus to reload. The callback runs from the event loop when a reload that began after
    /// this call has ended. It also runs when the reload failed, which is logged, because the bus
    /// may still find the file by itself. Requests during a reload share the next one.
    void reload(const std::function<void()> &callback);

private:
    void send();

    std::vector<std::function<void()>> m_running;
    std::vector<std::function<void()>> m_waiting;
};

} // namespace Core

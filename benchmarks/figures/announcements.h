#pragma once

#include "support/fixture.h"

#include <QObject>

namespace Bench {

/// A fixture with running task units and a client that listens to the first task's session. The
/// session is the daemon's, or that of a bare service that announces the same.
class Announcements : public QObject
{
    Q_OBJECT

public:
    /// The sizes of a measurement.
    struct Size
    {
        /// Applications with one task each, of its own type "T<number>".
        int tasks = 1;
        /// Units in the manager's list; the first `running` of them run.
        int units = 1;
        int running = 1;
        /// Types that a client registers for.
        int sessions = 1;
    };

    enum class Announcer { Daemon, Relay };

    explicit Announcements(const Size &size, Announcer announcer = Announcer::Daemon);
    /// Starts the announcer and listens.
    void start();
    /// Registers with the running daemon and listens.
    void listen();
    /// Stops the first task's unit or runs it again, and waits until its session has announced
    /// that.
    void changeOnce();
    /// The announcer's processor time for one such change, in milliseconds.
    [[nodiscard]] QVector<double> costOfAChange(int changes);

    Fixture fixture;

private Q_SLOTS:
    void onChange() { ++m_heard; }

private:
    void hear(const QString &service);

    const Size m_size;
    const Announcer m_announcer;
    Child m_relay;
    int m_heard = 0;
    bool m_runs = true;
};

} // namespace Bench

#pragma once

#include "support/fixture.h"

#include <QObject>

namespace Bench {

/// A fixture with task units that run, and a client that hears what the first task's session
/// announces: the daemon's, or that of a bare service that announces the same.
class Announcements : public QObject
{
    Q_OBJECT

public:
    /// How much there is of everything.
    struct Size
    {
        /// Applications with one task each, of its own type "T<number>".
        int tasks = 1;
        /// Units that the manager lists; the first `running` of them run.
        int units = 1;
        int running = 1;
        /// Types that a client registers for.
        int sessions = 1;
    };

    enum class Announcer { Daemon, Relay };

    explicit Announcements(const Size &size, Announcer announcer = Announcer::Daemon);
    /// Starts the announcer and listens.
    void start();
    /// Registers with a daemon that runs, and listens.
    void listen();
    /// Has the first task's unit stop or run again and waits until its session has announced it.
    void changeOnce();
    /// The announcer's processor time of one such change, in milliseconds.
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

#pragma once

#include "support/stage.h"

#include <QObject>

namespace Bench {

/// A stage with task units that run, and a client that hears what the first task's session
/// announces.
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

    explicit Announcements(const Size &size);
    /// Starts the daemon and listens.
    void start();
    /// Registers with a daemon that runs, and listens.
    void listen();
    /// Has the first task's unit stop or run again and waits until its session has announced it.
    void changeOnce();
    /// The daemon's processor time of one such change, in milliseconds.
    [[nodiscard]] QVector<double> costOfAChange(int changes);

    Stage stage;

private Q_SLOTS:
    void onChange() { ++m_heard; }

private:
    const Size m_size;
    int m_heard = 0;
    bool m_runs = true;
};

} // namespace Bench

#include "budgets/counts.h"

#include "figures/announcements.h"
#include "support/calls_at_once.h"

#include <QThread>

namespace Bench {

double wakeUpsWhenIdle()
{
    Announcements announcements({});
    announcements.start();
    announcements.changeOnce();
    // By then the daemon has finished what follows its work, such as giving memory back.
    QThread::msleep(3000);
    const qint64 before = wakeUps(announcements.fixture.daemon.pid());
    QThread::msleep(20000);
    return static_cast<double>(wakeUps(announcements.fixture.daemon.pid()) - before);
}

double reloadsOfManyStarts()
{
    constexpr int count = 50;
    Fixture fixture;
    writeEntries(fixture.root, count, QStringLiteral("Sync"));
    fixture.startManager({QStringLiteral("--reload-ms"), QStringLiteral("1000")});
    fixture.startDaemon();
    QStringList tasks;
    for (int number = 0; number < count; ++number)
        tasks.append(taskId(number));
    const QVector<double> numbers = callAtOnce({QStringLiteral("start"), QStringLiteral("nobody")},
                                               tasks, fixture.environment());
    return numbers.isEmpty() ? -1 : fixture.reloads();
}

} // namespace Bench

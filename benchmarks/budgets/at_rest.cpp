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
    // What work leaves behind, such as giving memory back, is over by then.
    QThread::msleep(3000);
    const qint64 before = wakeUps(announcements.stage.daemon.pid());
    QThread::msleep(20000);
    return static_cast<double>(wakeUps(announcements.stage.daemon.pid()) - before);
}

double reloadsOfManyStarts()
{
    constexpr int count = 50;
    Stage stage;
    writeEntries(stage.root, count, QStringLiteral("Sync"));
    stage.startManager({QStringLiteral("--reload-ms"), QStringLiteral("1000")});
    stage.startDaemon();
    QStringList tasks;
    for (int number = 0; number < count; ++number)
        tasks.append(taskId(number));
    const QVector<double> numbers =
        callAtOnce({QStringLiteral("start"), QStringLiteral("nobody")}, tasks, stage.environment());
    return numbers.isEmpty() ? -1 : stage.reloads();
}

} // namespace Bench

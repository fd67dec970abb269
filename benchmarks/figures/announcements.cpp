#include "figures/announcements.h"

#include "common/names.h"

namespace Bench {

Announcements::Announcements(const Size &size)
    : m_size(size)
{
    for (int number = 0; number < size.tasks; ++number) {
        const QString type = QStringLiteral("T%1").arg(number);
        stage.root.serveType(type);
        writeEntries(stage.root, 1, type, number);
    }
    stage.startManager({QStringLiteral("--units"), QString::number(size.units),
                        QStringLiteral("--running"), QString::number(size.running)});
}

void Announcements::start()
{
    stage.startDaemon();
    listen();
}

void Announcements::listen()
{
    for (int number = 0; number < m_size.sessions; ++number)
        stage.registerInvoker(stage.client, QStringLiteral("T%1").arg(number));
    stage.client.connect(Names::service(), Names::taskInvokerSessionsPath() + QStringLiteral("T0"),
                         Names::propertiesInterface(), Names::propertiesChanged(), this,
                         SLOT(onChange()));
}

void Announcements::changeOnce()
{
    const int heard = m_heard;
    m_runs = !m_runs;
    stage.emitState(unitName(0), m_runs);
    if (!waitUntil([&] { return m_heard > heard; }))
        qFatal("the session does not announce a change");
}

QVector<double> Announcements::costOfAChange(int changes)
{
    const double before = processorMs(stage.daemon.pid());
    for (int number = 0; number < changes; ++number)
        changeOnce();
    return {(processorMs(stage.daemon.pid()) - before) / changes};
}

} // namespace Bench

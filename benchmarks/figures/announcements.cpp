#include "figures/announcements.h"

#include "common/names.h"

namespace Bench {

Announcements::Announcements(const Size &size, Announcer announcer)
    : m_size(size)
    , m_announcer(announcer)
{
    for (int number = 0; number < size.tasks; ++number) {
        const QString type = QStringLiteral("T%1").arg(number);
        fixture.root.serveType(type);
        writeEntries(fixture.root, 1, type, number);
    }
    fixture.startManager({QStringLiteral("--units"), QString::number(size.units),
                          QStringLiteral("--running"), QString::number(size.running)});
}

void Announcements::start()
{
    if (m_announcer == Announcer::Daemon) {
        fixture.startDaemon();
        listen();
        return;
    }
    const QString name = QStringLiteral("org.zarn.Bare");
    fixture.startUntilName(m_relay, programBeside(QStringLiteral("relay-qtdbus")),
                           {name, QString::number(m_size.sessions)}, name);
    hear(name);
}

void Announcements::listen()
{
    for (int number = 0; number < m_size.sessions; ++number)
        fixture.registerInvoker(fixture.client, QStringLiteral("T%1").arg(number));
    hear(Names::service());
}

void Announcements::hear(const QString &service)
{
    fixture.client.connect(service, Names::taskInvokerSessionsPath() + QStringLiteral("T0"),
                           Names::propertiesInterface(), Names::propertiesChanged(), this,
                           SLOT(onChange()));
}

void Announcements::changeOnce()
{
    const int heard = m_heard;
    m_runs = !m_runs;
    fixture.emitState(unitName(0), m_runs);
    if (!waitUntil([&] { return m_heard > heard; }))
        qFatal("the session does not announce a change");
}

QVector<double> Announcements::costOfAChange(int changes)
{
    const Child &announcer = m_announcer == Announcer::Daemon ? fixture.daemon : m_relay;
    const double before = processorMs(announcer.pid());
    for (int number = 0; number < changes; ++number)
        changeOnce();
    return {(processorMs(announcer.pid()) - before) / changes};
}

} // namespace Bench

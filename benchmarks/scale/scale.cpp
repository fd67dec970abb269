// How costs grow: the scan with entries, a unit's change with units, a registration with clients.
// Each is a plot with a peer that does the least work of the same kind; they are measured
// alternately.

#include "scale/scale.h"

#include "figures/announcements.h"
#include "figures/match_rules.h"
#include "scale/plot.h"
#include "support/judgement.h"

#include <memory>

namespace Bench {

namespace {

constexpr int rounds = 5;

/// One line of a plot. `measure` measures once and returns milliseconds.
struct Line
{
    QString title;
    std::function<double()> measure;
};

// The medians of lines, which are measured alternately.
QVector<double> mediansOf(const QVector<Line> &lines)
{
    QVector<QVector<double>> samples(lines.size());
    for (int round = 0; round < rounds; ++round) {
        for (int line = 0; line < lines.size(); ++line)
            samples[line].append(lines[line].measure());
    }
    QVector<double> medians;
    for (const QVector<double> &values : samples)
        medians.append(median(values));
    return medians;
}

double scanMs(const QString &program, const QStringList &arguments, const TempRoot &root)
{
    return numbersOf(programBeside(program), arguments, root.environment()).value(1) / 1e6;
}

QVector<Line> linesOfEntries(int entries)
{
    auto root = std::make_shared<TempRoot>();
    writeEntries(*root, entries, QStringLiteral("Sync"));
    const QString folder = root->path(QStringLiteral("/usr/share/applications"));
    return {{QStringLiteral("orvane"),
             [root] {
                 return scanMs(QStringLiteral("registry-probe"), {QStringLiteral("scan")}, *root);
             }},
            {QStringLiteral("GKeyFile"),
             [root, folder] { return scanMs(QStringLiteral("scan-gkeyfile"), {folder}, *root); }},
            {QStringLiteral("g_app_info_get_all"),
             [root] { return scanMs(QStringLiteral("scan-gio"), {}, *root); }}};
}

Line changesBy(const QString &title, int units, Announcements::Announcer announcer)
{
    auto announcements =
        std::make_shared<Announcements>(Announcements::Size{1, units, 1, 1}, announcer);
    announcements->start();
    return {title, [announcements] { return announcements->costOfAChange(60).constFirst(); }};
}

QVector<Line> linesOfUnits(int units)
{
    using Announcer = Announcements::Announcer;
    return {changesBy(QStringLiteral("orvane"), units, Announcer::Daemon),
            changesBy(QStringLiteral("bare QtDBus service that announces as much"), units,
                      Announcer::Relay)};
}

// Processor time of a process for one registration of a new client.
template <typename Register>
double registrationMs(const Fixture &fixture, qint64 pid, const Register &registerClient)
{
    constexpr int registrations = 20;
    const double before = processorMs(pid);
    for (int number = 0; number < registrations; ++number) {
        QDBusConnection client = newConnection(fixture.bus.address());
        registerClient(client);
        QDBusConnection::disconnectFromBus(client.name());
    }
    return (processorMs(pid) - before) / registrations;
}

void registerBare(const QDBusConnection &client)
{
    QDBusMessage call =
        QDBusMessage::createMethodCall(QStringLiteral("org.zarn.Bare"), QStringLiteral("/bare"),
                                       QStringLiteral("org.zarn.Bare"), QStringLiteral("Register"));
    call << QStringLiteral("Sync");
    callAndWait(client, call);
}

QVector<Line> linesOfClients(int count)
{
    auto clients = std::make_shared<Clients>();
    auto bare = std::make_shared<Child>();
    const QString name = QStringLiteral("org.zarn.Bare");
    clients->fixture.startUntilName(*bare, programBeside(QStringLiteral("bare-qtdbus")), {name},
                                    name);
    clients->come(count);
    return {{QStringLiteral("orvane"),
             [clients] {
                 Fixture &fixture = clients->fixture;
                 return registrationMs(fixture, fixture.daemon.pid(),
                                       [&](const QDBusConnection &client) {
                                           fixture.registerInvoker(client, QStringLiteral("Sync"));
                                       });
             }},
            {QStringLiteral("bare QtDBus service"), [clients, bare] {
                 return registrationMs(clients->fixture, bare->pid(), registerBare);
             }}};
}

template <typename Lines>
bool measureAndDraw(Plot plot, const QVector<int> &sizes, const Lines &linesOf)
{
    for (const int size : sizes) {
        const QVector<Line> lines = linesOf(size);
        plot.titles.clear();
        for (const Line &line : lines)
            plot.titles.append(line.title);
        plot.points.append({size, mediansOf(lines)});
    }
    return draw(plot);
}

} // namespace

int plotScale(const QString &folder)
{
    const bool all =
        measureAndDraw({folder, QStringLiteral("entries"), QStringLiteral("desktop entries"),
                        QStringLiteral("processor time of a scan, ms")},
                       {100, 1000, 10000}, linesOfEntries)
        && measureAndDraw({folder, QStringLiteral("units"), QStringLiteral("task units"),
                           QStringLiteral("processor time of a unit's change, ms")},
                          {10, 1000, 10000}, linesOfUnits)
        && measureAndDraw({folder, QStringLiteral("clients"), QStringLiteral("clients"),
                           QStringLiteral("processor time of a registration, ms")},
                          {1, 100, 400}, linesOfClients);
    return all ? 0 : 1;
}

} // namespace Bench

#include "budgets/counts.h"

#include "client/calls.h"
#include "common/names.h"
#include "figures/announcements.h"
#include "support/callgrind.h"

namespace Bench {

namespace {

constexpr int few = 2;
constexpr int many = 22;

// The cost of one operation. run(n) returns the cost of a run with n operations.
template <typename Run>
double perOperation(const Run &run)
{
    const double more = run(many);
    const double less = run(few);
    return more < 0 || less < 0 ? -1 : (more - less) / (many - few);
}

void startAndStop(const Fixture &fixture, int count)
{
    const QString session = Names::taskInvokerSessionsPath() + QStringLiteral("Sync");
    fixture.registerInvoker(fixture.client, QStringLiteral("Sync"));
    for (int number = 0; number < count; ++number) {
        callAndWait(fixture.client,
                    Client::startCall(session, taskId(0), {},
                                      {{QStringLiteral("User"), QStringLiteral("nobody")}}));
        callAndWait(fixture.client, Client::stopCall(session, taskId(0)));
    }
}

void registerClients(const Fixture &fixture, int count)
{
    for (int number = 0; number < count; ++number) {
        const QDBusConnection client = newConnection(fixture.bus.address());
        fixture.registerInvoker(client, QStringLiteral("Sync"));
    }
}

// The cost of one operation of a daemon with one application.
template <typename Work>
double perOperationOfDaemon(const Work &work)
{
    return perOperation([&work](int count) {
        Fixture fixture;
        writeEntries(fixture.root, 1, QStringLiteral("Sync"));
        fixture.startManager();
        return instructionsOfDaemon(fixture, [&] { work(fixture, count); });
    });
}

double scanOf(int entries)
{
    const TempRoot root;
    writeEntries(root, entries, QStringLiteral("Sync"));
    return instructionsOf(programBeside(QStringLiteral("registry-probe")), {QStringLiteral("scan")},
                          root.environment() + QStringList{QStringLiteral("QT_HASH_SEED=0")});
}

double firstAnswerWith(int entries)
{
    Fixture fixture;
    writeEntries(fixture.root, entries, QStringLiteral("Sync"));
    fixture.startManager();
    const auto answerOnce = [&fixture] {
        return instructionsOfDaemon(fixture, [&fixture] {
            fixture.registerInvoker(fixture.client, QStringLiteral("Sync"));
        });
    };
    // The first run writes the records that the second one reads. Every run but the first after a
    // boot finds them.
    answerOnce();
    return answerOnce();
}

double signalWith(const Announcements::Size &size)
{
    return perOperation([&size](int count) {
        Announcements announcements(size);
        return instructionsOfDaemon(announcements.fixture, [&] {
            announcements.listen();
            for (int number = 0; number < count; ++number)
                announcements.changeOnce();
        });
    });
}

} // namespace

double instructionsOfStartUp()
{
    Fixture fixture;
    fixture.startManager();
    return instructionsOfDaemon(fixture, [] {});
}

double instructionsOfScan()
{
    const double full = scanOf(1000);
    const double empty = scanOf(0);
    return full < 0 || empty < 0 ? -1 : full - empty;
}

double instructionsOfStartAndStop() { return perOperationOfDaemon(startAndStop); }

double instructionsOfRegistration() { return perOperationOfDaemon(registerClients); }

double instructionsOfFirstAnswer()
{
    const double full = firstAnswerWith(300);
    const double empty = firstAnswerWith(0);
    return full < 0 || empty < 0 ? -1 : full - empty;
}

double instructionsOfSignal() { return signalWith({}); }

double instructionsOfSignalWithSessions() { return signalWith({100, 100, 100, 100}); }

} // namespace Bench

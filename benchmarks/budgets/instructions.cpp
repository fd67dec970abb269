#include "budgets/counts.h"

#include "client/calls.h"
#include "common/names.h"
#include "figures/announcements.h"
#include "support/callgrind.h"

namespace Bench {

namespace {

constexpr int few = 2;
constexpr int many = 22;

// Of one operation, when run(n) is a run with n of them.
template <typename Run>
double perOperation(const Run &run)
{
    const double more = run(many);
    const double less = run(few);
    return more < 0 || less < 0 ? -1 : (more - less) / (many - few);
}

void startAndStop(const Stage &stage, int count)
{
    const QString session = Names::taskInvokerSessionsPath() + QStringLiteral("Sync");
    stage.registerInvoker(stage.client, QStringLiteral("Sync"));
    for (int number = 0; number < count; ++number) {
        callAndWait(stage.client,
                    Client::startCall(session, taskId(0), {},
                                      {{QStringLiteral("User"), QStringLiteral("nobody")}}));
        callAndWait(stage.client, Client::stopCall(session, taskId(0)));
    }
}

void registerClients(const Stage &stage, int count)
{
    for (int number = 0; number < count; ++number) {
        const QDBusConnection client = newConnection(stage.bus.address());
        stage.registerInvoker(client, QStringLiteral("Sync"));
    }
}

// A daemon with one application, and a number of operations on it.
template <typename Work>
double perOperationOfDaemon(const Work &work)
{
    return perOperation([&work](int count) {
        Stage stage;
        writeEntries(stage.root, 1, QStringLiteral("Sync"));
        stage.startManager();
        return instructionsOfDaemon(stage, [&] { work(stage, count); });
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
    Stage stage;
    writeEntries(stage.root, entries, QStringLiteral("Sync"));
    stage.startManager();
    const auto answerOnce = [&stage] {
        return instructionsOfDaemon(
            stage, [&stage] { stage.registerInvoker(stage.client, QStringLiteral("Sync")); });
    };
    // This run keeps for the next one what it has read, as all but the first after a boot find it.
    answerOnce();
    return answerOnce();
}

double signalWith(const Announcements::Size &size)
{
    return perOperation([&size](int count) {
        Announcements announcements(size);
        return instructionsOfDaemon(announcements.stage, [&] {
            announcements.listen();
            for (int number = 0; number < count; ++number)
                announcements.changeOnce();
        });
    });
}

} // namespace

double instructionsOfStartUp()
{
    Stage stage;
    stage.startManager();
    return instructionsOfDaemon(stage, [] {});
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

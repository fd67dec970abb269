#include "chaos/attempt.h"

#include "chaos/invariants.h"
#include "support/literals.h"

#include <QTemporaryDir>

#include <algorithm>

namespace Chaos {

namespace {

// Calls that change a file or look at one, and those that send a message.
QStringList tracedCalls()
{
    return {u"%file"_s,     u"read"_s,   u"pread64"_s,   u"write"_s,      u"pwrite64"_s, u"fsync"_s,
            u"fdatasync"_s, u"fchmod"_s, u"ftruncate"_s, u"getdents64"_s, u"fstat"_s,    u"lseek"_s,
            u"sendmsg"_s,   u"sendto"_s, u"writev"_s,    u"flock"_s,      u"fchown"_s};
}

bool startsItself(const Operation &operation)
{
    return operation.kind == Operation::StartUp || operation.kind == Operation::Program;
}

struct Traced
{
    Outcome outcome;
    bool fired = false;
    bool isReliable = false;
    QVector<TracedCall> calls;
};

std::optional<Traced> runTracedOnce(Scene &scene, const Operation &operation,
                                    const Injection &injection)
{
    scene.renew();
    operation.prepare(scene);
    QTemporaryDir folder;
    Trace trace(folder.filePath(u"trace"_s), tracedCalls(), injection);
    if (!begin(scene, operation))
        return {};
    if (!startsItself(operation) && !trace.attach(scene.fixture.daemon.processId()))
        return {};
    Traced traced;
    traced.outcome =
        run(scene, operation, startsItself(operation) ? trace.wrapper() : QStringList());
    trace.finish(scene.fixture.daemon.isRunning());
    traced.calls = trace.calls();
    // How often a thread is woken differs, and an error that met no file is none that is meant.
    const auto metAFile = [&scene](const TracedCall &call) {
        return call.wasInjected && isOfFiles(scene, call);
    };
    traced.fired =
        trace.hasKilled() || std::any_of(traced.calls.cbegin(), traced.calls.cend(), metAFile);
    traced.isReliable = !trace.isConfused();
    return traced;
}

std::optional<Traced> runTraced(Scene &scene, const Operation &operation,
                                const Injection &injection)
{
    constexpr int mostTries = 10;
    std::optional<Traced> traced;
    for (int tries = 0; tries < mostTries && (!traced || !traced->isReliable); ++tries)
        traced = runTracedOnce(scene, operation, injection);
    return traced && traced->isReliable ? traced : std::nullopt;
}

int answersToTheCaller(Scene &scene)
{
    // What the observer was answered is behind everything that the caller was answered.
    const QString observer = scene.observer.baseService();
    (void)Fixture::waitUntil(
        [&] { return scene.answers.answersTo(observer) > 0 || !scene.fixture.daemon.isRunning(); });
    return scene.answers.answersTo(scene.fixture.client.baseService());
}

Attempt whatIsLeft(Scene &scene, const Operation &operation, const Outcome &outcome)
{
    Attempt attempt;
    attempt.outcome = outcome;
    attempt.isRunning = scene.fixture.daemon.isRunning();
    if (operation.kind == Operation::Call)
        attempt.answers = answersToTheCaller(scene);
    attempt.left = scene.snapshot();
    return attempt;
}

QStringList faultsOfTheTasks(Scene &scene)
{
    QStringList wrong;
    for (const QString &unit : scene.startedWithoutFile())
        wrong.append(unit + u" was started without its file"_s);
    return wrong + faultsOfTheActiveTasks(scene);
}

// @param areLeftoversRemoved whether the daemon has started since.
QStringList faultsOfTheFiles(const Snapshot &found, const Reference &reference,
                             bool areLeftoversRemoved)
{
    QStringList wrong = differences(settled(found), settled(reference.after));
    for (auto entry = found.cbegin(); entry != found.cend() && areLeftoversRemoved; ++entry) {
        if (isLeftover(entry.key()))
            wrong.append(entry.key() + u" is left over"_s);
    }
    return wrong;
}

// @param areLeftoversRemoved whether the daemon has started since.
QStringList faultsOfTheRepetition(Scene &scene, const Operation &operation,
                                  const Reference &reference, bool areLeftoversRemoved)
{
    const Outcome again = run(scene, operation);
    QStringList wrong = faultsOfTheFiles(scene.snapshot(), reference, areLeftoversRemoved);
    if (!again.succeeded)
        wrong.prepend(u"the second attempt fails: "_s + again.answer.errorMessage());
    return wrong;
}

QStringList faultsOfTheSameRun(Scene &scene, const Operation &operation, const Reference &reference)
{
    if (!scene.isAlive())
        return {u"the daemon does not answer any more"_s};
    QStringList wrong = faultsOfTheRepetition(scene, operation, reference, false);
    const auto seesAll = [&] { return scene.availableTasks() == reference.availableTasks; };
    if (!Fixture::waitUntil(seesAll))
        wrong.append(u"what can be started is forgotten"_s);
    return wrong + faultsOfTheTasks(scene);
}

QStringList faultsOfTheLeftovers(const Attempt &attempt)
{
    QStringList wrong;
    for (auto entry = attempt.left.cbegin(); entry != attempt.left.cend(); ++entry) {
        if (isLeftover(entry.key()))
            wrong.append(entry.key() + u" is left over"_s);
    }
    return wrong;
}

QStringList faultsOfTheAnswer(const Operation &operation, const Reference &reference,
                              const Attempt &attempt)
{
    QStringList wrong;
    if (attempt.answers != 1)
        wrong.append(u"%1 answers"_s.arg(attempt.answers));
    const bool succeeded = attempt.outcome.succeeded;
    if (succeeded && operation.succeedsWhole)
        wrong += differences(settled(attempt.left), settled(reference.after));
    if (!succeeded && operation.failsWhole)
        wrong += differences(settled(attempt.left), settled(reference.before));
    if (!wrong.isEmpty())
        wrong.append(succeeded
                         ? u"although the answer is no error"_s
                         : u"although the answer is "_s + attempt.outcome.answer.errorMessage());
    return wrong;
}

// It comes to its end, or ends with a status that says that it failed and a line that says why.
QStringList faultsOfTheProcess(Scene &scene, const Attempt &attempt)
{
    DaemonProcess &daemon = scene.fixture.daemon;
    if (attempt.outcome.succeeded || (daemon.exitStatus() == 1 && !daemon.log().isEmpty()))
        return {};
    return {u"it ended with status %1"_s.arg(daemon.exitStatus())};
}

} // namespace

bool isOfFiles(const Scene &scene, const TracedCall &call)
{
    return call.line.contains(scene.fixture.root.path());
}

Reference referenceOf(Scene &scene, const Operation &operation)
{
    Reference reference;
    scene.renew();
    operation.prepare(scene);
    reference.before = scene.snapshot();
    const std::optional<Traced> traced = runTraced(scene, operation, {});
    if (!traced || !traced->outcome.succeeded)
        qFatal("%s fails without a fault: %s\n%s", qPrintable(operation.name),
               traced ? qPrintable(traced->outcome.answer.errorMessage()) : "cannot begin",
               scene.fixture.daemon.log().constData());
    reference.calls = traced->calls;
    reference.after = scene.snapshot();
    // In every attempt, too: each file has to be as before or as after.
    for (const QString &path : operation.keeps) {
        if (!reference.before.contains(path)
            || reference.before.value(path) != reference.after.value(path))
            qFatal("%s touches %s", qPrintable(operation.name), qPrintable(path));
    }
    if (operation.kind == Operation::Call)
        reference.availableTasks = scene.availableTasks();
    return reference;
}

std::optional<Attempt> attempt(Scene &scene, const Operation &operation, const Injection &injection)
{
    const std::optional<Traced> traced = runTraced(scene, operation, injection);
    if (!traced)
        return {};
    Attempt attempt = whatIsLeft(scene, operation, traced->outcome);
    attempt.fired = traced->fired;
    return attempt;
}

std::optional<Attempt> attempt(Scene &scene, const Operation &operation, const Hardship &hardship)
{
    scene.renew();
    operation.prepare(scene);
    if (!begin(scene, operation))
        return {};
    if (hardship.set)
        hardship.set(scene);
    Attempt attempt = whatIsLeft(scene, operation, run(scene, operation));
    attempt.fired = true;
    if (hardship.lift)
        hardship.lift(scene);
    return attempt;
}

QStringList faultsOfTheNextRun(Scene &scene, const Operation &operation, const Reference &reference)
{
    scene.killDaemon();
    if (operation.kind == Operation::Program)
        return faultsOfTheRepetition(scene, operation, reference, false);
    if (operation.kind == Operation::StartUp) {
        const QStringList wrong = faultsOfTheRepetition(scene, operation, reference, true);
        return wrong + faultsOfTheTasks(scene);
    }
    if (!begin(scene, operation))
        return {u"the next run does not come up"_s};
    const QStringList wrong = faultsOfTheTasks(scene);
    return wrong + faultsOfTheRepetition(scene, operation, reference, true);
}

QStringList faultsOf(Scene &scene, const Operation &operation, const Reference &reference,
                     const Attempt &attempt, Leftovers leftovers)
{
    QStringList wrong = neitherOldNorNew(attempt.left, reference.before, reference.after);
    if (leftovers == Leftovers::Go)
        wrong += faultsOfTheLeftovers(attempt);
    if (operation.kind == Operation::Call) {
        wrong += faultsOfTheAnswer(operation, reference, attempt);
        return wrong + faultsOfTheSameRun(scene, operation, reference);
    }
    wrong += faultsOfTheProcess(scene, attempt);
    return wrong + faultsOfTheNextRun(scene, operation, reference);
}

} // namespace Chaos

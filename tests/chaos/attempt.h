#pragma once

#include "chaos/operation.h"
#include "chaos/trace.h"

#include <functional>
#include <optional>

namespace Chaos {

/// How an operation goes without a fault.
struct Reference
{
    Snapshot before;
    Snapshot after;
    QVector<TracedCall> calls;
    /// What the registration lists; for operations that are calls.
    QStringList availableTasks;
};

/// How it went with one.
struct Attempt
{
    Outcome outcome;
    /// Whether strace's log proves the fault.
    bool fired = false;
    /// Whether the process was there at the end.
    bool isRunning = false;
    /// How many answers the caller was sent.
    int answers = 0;
    Snapshot left;
};

/// Whether a call is about the files of a scene.
[[nodiscard]] bool isOfFiles(const Scene &scene, const TracedCall &call);
[[nodiscard]] Reference referenceOf(Scene &scene, const Operation &operation);
/// Runs an operation from a renewed scene under a fault. Nothing when it could not begin.
[[nodiscard]] std::optional<Attempt> attempt(Scene &scene, const Operation &operation,
                                             const Injection &injection);
/// What is wrong with the next run on what an attempt has left, and with the operation when that
/// run does it again.
[[nodiscard]] QStringList faultsOfTheNextRun(Scene &scene, const Operation &operation,
                                             const Reference &reference);
/// Something that goes wrong around a daemon.
struct Hardship
{
    QString name;
    /// From the point at which the operation can be run until it has been; may be empty.
    std::function<void(Scene &)> set;
    std::function<void(Scene &)> lift;
};
/// Runs an operation from a renewed scene under a hardship. Nothing when it could not begin.
[[nodiscard]] std::optional<Attempt> attempt(Scene &scene, const Operation &operation,
                                             const Hardship &hardship);

/// Whether temporary files may be there after a failure.
enum class Leftovers { Go, MayStay };
/// What is wrong with an attempt whose process may live on: with its files, its answers and its
/// end, and with the operation when it is done again without the fault.
[[nodiscard]] QStringList faultsOf(Scene &scene, const Operation &operation,
                                   const Reference &reference, const Attempt &attempt,
                                   Leftovers leftovers);

} // namespace Chaos

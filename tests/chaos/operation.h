#pragma once

#include "chaos/scene.h"

#include <QDBusMessage>
#include <QString>
#include <QVector>

#include <functional>
#include <optional>

namespace Chaos {

/// Something that the daemon does, under a fault or not.
struct Operation
{
    enum Kind {
        /// A client calls.
        Call,
        /// The daemon starts, and is ready when its name and an answer are there.
        StartUp,
        /// It is told to leave.
        ShutDown,
        /// A program of its own, on the daemon's files.
        Program
    };

    QString name;
    Kind kind = Call;
    /// Lays out what there is before, on a scene that has just been renewed.
    std::function<void(Scene &)> prepare;
    /// For Call: what is asked, by Fixture::client, which has registered itself before.
    QDBusMessage call;
    /// Whether a failure leaves everything as it was. Otherwise each single file is old or new.
    bool failsWhole = true;
    /// Whether an answer without an error says that all is done.
    bool succeedsWhole = true;
    /// Paths below the root that it must not touch, whatever it writes beside or through them.
    QStringList keeps = {};
};

/// Every operation that writes or removes something.
[[nodiscard]] QVector<Operation> operations();

/// How an operation went.
struct Outcome
{
    /// For Call: the answer, also one that the bus gave in the daemon's place.
    QDBusMessage answer;
    /// Whether what the operation is about has been reached: an answer without an error, the name,
    /// the end.
    bool succeeded = false;
};

/// Gets to the point at which the operation can be run.
/// @return whether it can.
[[nodiscard]] bool begin(Scene &scene, const Operation &operation);
/// Runs it to its end, or to the end of the daemon.
/// @param wrapper what a process that is started by it runs under.
[[nodiscard]] Outcome run(Scene &scene, const Operation &operation,
                          const QStringList &wrapper = {});

} // namespace Chaos

#pragma once

#include "support/child.h"
#include "support/entries.h"
#include "support/private_bus.h"
#include "support/temp_root.h"

#include <QDBusConnection>
#include <QDBusMessage>

#include <functional>

namespace Bench {

/// Opens another connection to a bus.
QDBusConnection newConnection(const QString &address);
/// Makes a call and waits for its answer, four minutes at most. An error is printed on stderr.
QDBusMessage callAndWait(const QDBusConnection &from, const QDBusMessage &call);
/// Waits until a condition holds, four minutes at most, while events are handled.
bool waitUntil(const std::function<bool()> &condition);

/// A private bus with a manager that takes no time, a root directory for files, and the daemon.
class Fixture
{
public:
    Fixture();
    /// Starts the manager; see fake_manager.cpp for its arguments.
    void startManager(const QStringList &arguments = {});
    /// Starts the daemon and waits for its name.
    /// @return milliseconds from the start to the name.
    double startDaemon();
    /// The same for any program and name.
    double startUntilName(Child &child, const QString &program, const QStringList &arguments,
                          const QString &name);
    [[nodiscard]] QStringList environment() const;

    /// Registers a connection for a task type.
    QDBusMessage registerInvoker(const QDBusConnection &from, const QString &type) const;
    /// Makes the manager announce a state of a unit.
    void emitState(const QString &unit, bool runs) const;
    [[nodiscard]] int reloads() const;

    static QString daemonProgram();

    PrivateBus bus;
    TempRoot root;
    QDBusConnection client;
    Child manager;
    Child daemon;
};

} // namespace Bench

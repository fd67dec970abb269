#pragma once

#include "fakes/fake_systemd.h"
#include "fakes/fake_user_manager.h"
#include "fakes/fake_user_service.h"
#include "support/daemon_process.h"
#include "support/literals.h"
#include "support/private_bus.h"
#include "support/temp_root.h"
#include "support/tool_process.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>

#include <memory>

/// Everything that a component test needs: a bus, a root directory, stand-ins for systemd and for
/// the user manager, and the daemon. A test makes one, writes files and starts the daemon.
class Fixture
{
public:
    /// How long a condition may take to come true, in milliseconds. It is long because a test must
    /// not fail on a loaded machine; a test that passes does not wait for it.
    static constexpr int timeoutMs = 60000;

    /// @param busConfiguration see PrivateBus.
    explicit Fixture(const QString &busConfiguration = {});
    ~Fixture();
    Q_DISABLE_COPY(Fixture)

    /// Starts the daemon's process, with an idle time that no test reaches.
    void launch(const QStringList &environment = {}, const QStringList &arguments = {});
    /// Starts the daemon and waits until it owns its name.
    [[nodiscard]] bool start(const QStringList &environment = {});
    /// Starts another daemon, with this idle time and on a bus of its own, and waits until it has
    /// left. By then every daemon with the same idle time has left that was idle before.
    [[nodiscard]] static bool waitForAnIdleTime(int idleMs);
    /// Has the bus start the daemon when it is called. The daemon's log is in the test's own.
    [[nodiscard]] bool activateDaemon(const QStringList &environment);
    /// Starts orvanectl with this bus and these files.
    [[nodiscard]] std::unique_ptr<ToolProcess> startTool(const QStringList &arguments,
                                                         const QStringList &environment = {}) const;
    /// The same on a terminal with this number of columns.
    [[nodiscard]] std::unique_ptr<ToolProcess> startToolInTerminal(const QStringList &arguments,
                                                                   int columns) const;
    /// Starts orvanectl and waits for its end, while the fakes go on working.
    [[nodiscard]] ToolOutput runTool(const QStringList &arguments,
                                     const QStringList &environment = {}) const;
    /// A new connection to the bus. It stays open until drop().
    [[nodiscard]] QDBusConnection connect();
    /// Closes a connection, which cannot be used any more.
    static void drop(QDBusConnection &connection);
    /// Sends calls that want no answer from a client that has left the bus before the daemon
    /// handles the first one.
    [[nodiscard]] bool sendAndLeave(const QVector<QDBusMessage> &calls);
    /// Waits until the daemon's log contains a text.
    [[nodiscard]] bool daemonLogs(const QByteArray &text);
    [[nodiscard]] bool nameIsOwned(const QString &name = u"org.zarn.Orvane"_s);
    /// How many match rules the bus keeps for the daemon; -1 when it does not tell.
    [[nodiscard]] int matchRules() const;
    /// Waits until a condition is true, for the timeout at most.
    [[nodiscard]] static bool waitUntil(const std::function<bool()> &condition);

    /// Calls the daemon and waits for the answer while the fakes go on working.
    QDBusMessage call(const QDBusMessage &message, const QDBusConnection &from) const;
    QDBusMessage call(const QDBusMessage &message) const { return call(message, client); }
    QDBusMessage registerInvoker(const QString &type) const;
    QDBusMessage start(const QString &taskId, const QVariantMap &hints,
                       const QVariantMap &info = {}) const;
    QDBusMessage stop(const QString &taskId) const;

    static QDBusMessage methodCall(const QString &path, const QString &interface,
                                   const QString &method, const QVariantList &arguments = {});
    static QDBusMessage startCall(const QString &taskId, const QVariantMap &hints,
                                  const QVariantMap &info = {});
    static QDBusMessage sessionCall(const QString &method, const QVariantList &arguments = {});
    static QDBusMessage registerCall(const QString &type);
    static QString sessionPath(const QString &type = u"Sync"_s);
    /// The object path of a task's unit.
    static QString unitPath(const QString &taskId);

    PrivateBus bus;
    TempRoot root;
    DaemonProcess daemon;
    QDBusConnection client;
    std::unique_ptr<FakeSystemd> systemd;
    std::unique_ptr<FakeUserManager> userManager;

private:
    [[nodiscard]] QStringList daemonEnvironment(const QStringList &more) const;
};

/// Connects to a signal and records the arguments of each one that arrives.
class SignalRecorder : public QObject
{
    Q_OBJECT

public:
    /// @param sender bus name of the sender.
    SignalRecorder(QDBusConnection connection, const QString &sender, const QString &path,
                   const QString &interface, const QString &name);

    QVector<QVariantList> received;

public Q_SLOTS:
    void onSignal(const QDBusMessage &message) { received.append(message.arguments()); }
};

// Programs on a private bus, for tests that make blocking calls.
#pragma once

#include "support/death_bound_process.h"
#include "support/function_names.h"
#include "support/literals.h"
#include "support/private_bus.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusReply>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

/// The root that a daemon works on and the environment that it runs in.
class TestRoot
{
public:
    explicit TestRoot(const QString &busAddress)
        : environment(QProcessEnvironment::systemEnvironment())
    {
        const QString data = path(u"share"_s);
        environment.remove(u"ORVANE_SKIP_AUTHENTICATION"_s);
        environment.insert(u"DBUS_SYSTEM_BUS_ADDRESS"_s, busAddress);
        environment.insert(u"ORVANE_ROOTFS"_s, m_directory.path());
        environment.insert(u"ORVANE_DAEMON_TIMEOUT"_s, u"60000"_s);
        environment.insert(u"XDG_DATA_HOME"_s, data);
        environment.insert(u"XDG_DATA_DIRS"_s, data);
        QFile::setPermissions(m_directory.path(), QFile::Permissions(0x7755));
    }
    Q_DISABLE_COPY(TestRoot)

    [[nodiscard]] QString path(const QString &relative) const
    {
        return m_directory.filePath(relative);
    }
    [[nodiscard]] QString runtime(const QString &relative) const
    {
        return path(u"var/lib/am/apps/"_s + relative);
    }
    [[nodiscard]] bool write(const QString &relative, const QByteArray &text) const
    {
        const QString target = path(relative);
        QFile file(target);
        return QDir().mkpath(QFileInfo(target).path()) && file.open(QIODevice::WriteOnly)
            && file.write(text) == text.size();
    }
    [[nodiscard]] QByteArray read(const QString &relative) const
    {
        QFile file(path(relative));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(cannot be read)");
    }

    QProcessEnvironment environment;

private:
    QTemporaryDir m_directory;
};

/// A program on the bus. Its log is shown when the test fails.
class Program
{
public:
    Program(const TestRoot &root, const QString &program, const QStringList &arguments = {})
    {
        process.setProcessEnvironment(root.environment);
        process.start(program, arguments);
    }
    ~Program()
    {
        if (process.state() != QProcess::NotRunning) {
            process.kill();
            process.waitForFinished();
        }
        if (QTest::currentTestFailed())
            qWarning("log of the program:\n%s", log().constData());
    }
    Q_DISABLE_COPY(Program)

    /// What it has written to standard error so far.
    [[nodiscard]] QByteArray log()
    {
        m_log += process.readAllStandardError();
        return withFunctionNamesOfGcc(m_log);
    }
    /// Waits for its end.
    /// @return whether it ended by itself within 30 s.
    [[nodiscard]] bool ended()
    {
        return process.state() == QProcess::NotRunning || process.waitForFinished(30000);
    }

    DeathBoundProcess process;

private:
    QByteArray m_log;
};

/// A daemon on a bus of its own that nobody calls. When it has left, every daemon with the same
/// idle time has left that was started before and that nobody has called since.
class UncalledDaemon
{
public:
    explicit UncalledDaemon(const QString &idleMs)
    {
        if (!m_bus.start())
            return;
        m_root.environment.insert(u"ORVANE_DAEMON_TIMEOUT"_s, idleMs);
        m_daemon = std::make_unique<Program>(m_root, QStringLiteral(ORVANE_BINARY));
    }
    Q_DISABLE_COPY(UncalledDaemon)

    /// Whether it has left, or does so within a moment.
    [[nodiscard]] bool leavesSoon()
    {
        return !m_daemon || m_daemon->process.state() == QProcess::NotRunning
            || m_daemon->process.waitForFinished(20);
    }
    /// Whether it has left without a failure.
    [[nodiscard]] bool wasFine() const
    {
        return m_daemon && m_daemon->process.exitStatus() == QProcess::NormalExit
            && m_daemon->process.exitCode() == 0;
    }

private:
    PrivateBus m_bus;
    TestRoot m_root{m_bus.address()};
    std::unique_ptr<Program> m_daemon;
};

/// Waits until a name has an owner.
/// @return whether it has one within 20 s.
inline bool waitForName(const QDBusConnection &bus, const QString &name)
{
    return QTest::qWaitFor([&] { return bus.interface()->isServiceRegistered(name).value(); },
                           20000);
}

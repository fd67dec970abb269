// A private bus and the processes on it, for the tests of autostart and of the package hook.
#pragma once

#include "support/death_bound_process.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusReply>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

/// A dbus-daemon of its own that lets every user connect, own and call everything: its socket lies
/// where other users can reach it, as some of these tests call as such.
class OwnBus
{
public:
    OwnBus()
    {
        QFile config(m_directory.filePath(QStringLiteral("bus.conf")));
        const bool written = config.open(QIODevice::WriteOnly)
            && config.write("<busconfig><type>session</type><listen>unix:tmpdir=/tmp</listen>"
                            "<policy context=\"default\"><allow user=\"*\"/><allow own=\"*\"/>"
                            "<allow send_destination=\"*\" eavesdrop=\"true\"/>"
                            "<allow eavesdrop=\"true\"/></policy></busconfig>")
                > 0;
        config.close();
        if (!written)
            return;
        m_process.start(QStringLiteral("dbus-daemon"),
                        {QStringLiteral("--nofork"), QStringLiteral("--print-address"),
                         QStringLiteral("--config-file=") + config.fileName()});
        if (m_process.waitForStarted() && m_process.waitForReadyRead(10000))
            m_address = QString::fromLocal8Bit(m_process.readLine()).trimmed();
    }
    ~OwnBus()
    {
        m_process.kill();
        m_process.waitForFinished();
    }
    Q_DISABLE_COPY(OwnBus)

    /// Empty when the bus could not be started.
    [[nodiscard]] const QString &address() const { return m_address; }
    [[nodiscard]] QDBusConnection connect(const QString &name) const
    {
        return QDBusConnection::connectToBus(m_address, name);
    }

private:
    QTemporaryDir m_directory;
    DeathBoundProcess m_process;
    QString m_address;
};

/// The root that a daemon works on and the environment that it runs in.
class TestRoot
{
public:
    explicit TestRoot(const QString &busAddress)
        : environment(QProcessEnvironment::systemEnvironment())
    {
        const QString data = path(QStringLiteral("share"));
        environment.remove(QStringLiteral("ORVANE_SKIP_AUTHENTICATION"));
        environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), busAddress);
        environment.insert(QStringLiteral("ORVANE_ROOTFS"), m_directory.path());
        environment.insert(QStringLiteral("ORVANE_DAEMON_TIMEOUT"), QStringLiteral("60000"));
        environment.insert(QStringLiteral("XDG_DATA_HOME"), data);
        environment.insert(QStringLiteral("XDG_DATA_DIRS"), data);
        QFile::setPermissions(m_directory.path(), QFile::Permissions(0x7755));
    }
    Q_DISABLE_COPY(TestRoot)

    [[nodiscard]] QString path(const QString &relative) const
    {
        return m_directory.filePath(relative);
    }
    [[nodiscard]] QString runtime(const QString &relative) const
    {
        return path(QStringLiteral("var/lib/am/apps/") + relative);
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

/// A program on the bus; its log is shown when its test fails.
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
    [[nodiscard]] const QByteArray &log()
    {
        m_log += process.readAllStandardError();
        return m_log;
    }
    /// Whether it ended by itself within the time limit.
    [[nodiscard]] bool ended()
    {
        return process.state() == QProcess::NotRunning || process.waitForFinished(30000);
    }

    DeathBoundProcess process;

private:
    QByteArray m_log;
};

/// Whether a name has an owner within the time limit.
inline bool waitForName(const QDBusConnection &bus, const QString &name)
{
    return QTest::qWaitFor([&] { return bus.interface()->isServiceRegistered(name).value(); },
                           20000);
}

#pragma once

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusServer>
#include <QDBusVirtualObject>
#include <QTest>
#include <QVariantMap>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <memory>

/// Runs a test object and ends the process without its destructors of static objects: the
/// framework's server and its own threads can wait for each other there for ever. For tests that
/// use LoneBus.
template <typename Test>
[[noreturn]] void runTestAndExit(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    Test test;
    const int status = QTest::qExec(&test, argc, argv);
    std::fflush(nullptr);
    std::_Exit(status);
}

/// Answers as a bus would that says exactly `answer` of every connection: a real one cannot be made
/// to leave a value out. No other connection is on it, and it understands no other question.
class LoneBus : private QDBusVirtualObject
{
public:
    LoneBus() = default;
    ~LoneBus() override = default;
    Q_DISABLE_COPY(LoneBus)

    /// The answer to GetConnectionCredentials; an error when empty.
    QVariantMap answer;

    /// @return whether it accepts connections.
    [[nodiscard]] bool listen()
    {
        m_server = std::make_unique<QDBusServer>(QStringLiteral("unix:tmpdir=/tmp"));
        // Whoever connects may have become somebody else.
        m_server->setAnonymousAuthenticationAllowed(true);
        QObject::connect(
            m_server.get(), &QDBusServer::newConnection, this, [this](QDBusConnection connection) {
                connection.registerVirtualObject(QStringLiteral("/org/freedesktop/DBus"), this);
            });
        return m_server->isConnected();
    }

    /// Runs a function with a connection to this bus, on a thread of its own as it blocks, and
    /// gives back what it returns.
    template <typename Function>
    [[nodiscard]] auto ask(const Function &function) const
    {
        const QString name = QStringLiteral("lone-bus");
        auto result = std::async(std::launch::async, [&] {
            return function(QDBusConnection::connectToPeer(m_server->address(), name));
        });
        while (result.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
            QTest::qWait(1);
        QDBusConnection::disconnectFromPeer(name);
        return result.get();
    }

private:
    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        if (message.member() != QLatin1String("GetConnectionCredentials"))
            return false;
        return connection.send(answer.isEmpty() ? message.createErrorReply(QDBusError::Failed, {})
                                                : message.createReply(answer));
    }

    std::unique_ptr<QDBusServer> m_server;
};

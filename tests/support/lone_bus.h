#pragma once

#include "support/literals.h"

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

/// Runs a test object and ends the process without destroying static objects, because the
/// framework's server and threads can wait for each other there for ever. For tests that use
/// LoneBus.
template <typename Test>
[[noreturn]] void runTestAndExit(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    Test test;
    const int status = QTest::qExec(&test, argc, argv);
    std::fflush(nullptr);
    std::_Exit(status);
}

/// Stands in for a bus that answers every question about a connection's credentials with `answer`,
/// because a real bus cannot be made to leave a value out. It has a single client and answers
/// nothing else.
class LoneBus : private QDBusVirtualObject
{
public:
    LoneBus() = default;
    ~LoneBus() override = default;
    Q_DISABLE_COPY(LoneBus)

    /// The answer to GetConnectionCredentials; when it is empty, the answer is an error.
    QVariantMap answer;

    /// @return whether it accepts connections.
    [[nodiscard]] bool listen()
    {
        m_server = std::make_unique<QDBusServer>(u"unix:tmpdir=/tmp"_s);
        // The process may have changed its user before it connects.
        m_server->setAnonymousAuthenticationAllowed(true);
        QObject::connect(m_server.get(), &QDBusServer::newConnection, this,
                         [this](QDBusConnection connection) {
                             connection.registerVirtualObject(u"/org/freedesktop/DBus"_s, this);
                         });
        return m_server->isConnected();
    }

    /// Runs a function with a connection to this bus and returns its result. The function runs in
    /// another thread, because it blocks.
    template <typename Function>
    [[nodiscard]] auto ask(const Function &function) const
    {
        const QString name = u"lone-bus"_s;
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

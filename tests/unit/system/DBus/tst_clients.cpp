#include "support/literals.h"
#include "support/private_bus.h"
#include "system/DBus/clients.h"

#include <QDBusConnectionInterface>
#include <QDBusReply>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include <unistd.h>

class TestClients : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void namesTheUserOfAClient();
    void knowsNobodyWhoHasLeft();
    void reportsThatAClientLeaves();
    void forgetsTheUserOfAClientThatLeft();
    void asksForTheCredentialsOfAClientOnce();
    void asksForThoseOfANameThatMayChangeHandsEachTime();

private:
    static constexpr int timeoutMs = 30000;
    QDBusConnection connect(const char *name) const
    {
        return bus.connect(QString::fromLatin1(name));
    }
    static void drop(QDBusConnection &connection)
    {
        QDBusConnection::disconnectFromBus(connection.name());
        connection = QDBusConnection(QString());
    }

    PrivateBus bus;
};

void TestClients::initTestCase() { QVERIFY(bus.start()); }

void TestClients::namesTheUserOfAClient()
{
    DBus::Clients clients(connect("own"));
    const QDBusConnection client = connect("client");
    for (int round = 0; round < 2; ++round)
        QCOMPARE(clients.userOf(client.baseService()), std::optional<uint>(getuid()));
}

void TestClients::knowsNobodyWhoHasLeft()
{
    DBus::Clients clients(connect("own"));
    QVERIFY(!clients.userOf(u":1.99999"_s));
    DBus::Clients ofNoBus(QDBusConnection(u"none"_s));
    QVERIFY(!ofNoBus.userOf(u":1.1"_s));
}

void TestClients::reportsThatAClientLeaves()
{
    DBus::Clients clients(connect("own"));
    QSignalSpy left(&clients, &DBus::Clients::left);
    QDBusConnection client = connect("leaving");
    const QString name = client.baseService();
    // A name that gets another owner does not mean that a client left.
    QVERIFY(client.registerService(u"org.example.Name"_s));
    drop(client);
    QTRY_VERIFY_WITH_TIMEOUT(left.contains({name}), timeoutMs);
    QCOMPARE(left.count({u"org.example.Name"_s}), 1);
}

void TestClients::forgetsTheUserOfAClientThatLeft()
{
    DBus::Clients clients(connect("own"));
    QSignalSpy left(&clients, &DBus::Clients::left);
    QDBusConnection client = connect("forgotten");
    const QString name = client.baseService();
    QVERIFY(clients.userOf(name));
    drop(client);
    QTRY_VERIFY_WITH_TIMEOUT(left.contains({name}), timeoutMs);
    QVERIFY(!clients.userOf(name));
}

void TestClients::asksForTheCredentialsOfAClientOnce()
{
    DBus::Clients clients(connect("own"));
    QSignalSpy left(&clients, &DBus::Clients::left);
    QDBusConnection client = connect("asked for");
    const QString name = client.baseService();
    QCOMPARE(clients.credentialsOf(name)->pid, std::optional<uint>(::getpid()));
    drop(client);
    // The client has left the bus, but this process has not handled the signal yet.
    const QDBusConnection other = connect("other");
    while (other.interface()->isServiceRegistered(name))
        QThread::msleep(1);
    QVERIFY(left.isEmpty());
    QCOMPARE(clients.credentialsOf(name)->pid, std::optional<uint>(::getpid()));
    QTRY_VERIFY_WITH_TIMEOUT(left.contains({name}), timeoutMs);
    QVERIFY(!clients.credentialsOf(name));
}

void TestClients::asksForThoseOfANameThatMayChangeHandsEachTime()
{
    DBus::Clients clients(connect("own"));
    const QString name = u"org.example.Handed"_s;
    QDBusConnection client = connect("first owner");
    QVERIFY(client.registerService(name));
    QVERIFY(clients.credentialsOf(name));
    QVERIFY(client.unregisterService(name));
    QVERIFY(!clients.credentialsOf(name));
}

QTEST_GUILESS_MAIN(TestClients)
#include "tst_clients.moc"

#include "common/Core/findings.h"
#include "common/places.h"
#include "system/autostart/interface.h"
#include "system/autostart/manager.h"

#include "support/literals.h"
#include "support/private_bus.h"

#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

class TestAutostartInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void everyCallPulsesTheIdleState_data();
    void everyCallPulsesTheIdleState();
    void isIdleFromTheStart();

private:
    std::unique_ptr<PrivateBus> m_bus;
    QTemporaryDir m_root;
};

void TestAutostartInterface::initTestCase()
{
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus");
    // Without /proc, nobody may change settings.
    Places::setOfProcess(Places::below(m_root.path()));
    m_bus = std::make_unique<PrivateBus>();
    QVERIFY(m_bus->start());
    QVERIFY(m_bus->connect(u"daemon"_s).isConnected());
    QVERIFY(m_bus->connect(u"client"_s).isConnected());
}

void TestAutostartInterface::everyCallPulsesTheIdleState_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QVariantList>("arguments");
    QTest::addColumn<QString>("error");

    QTest::newRow("reading") << u"GetEnabled"_s << QVariantList{5} << QString();
    QTest::newRow("reading all users")
        << u"GetEnabled"_s << QVariantList{-1} << u"org.freedesktop.DBus.Error.NotSupported"_s;
    QTest::newRow("a refused switch") << u"SetEnabled"_s << QVariantList{5, u"a.b"_s, true}
                                      << u"org.freedesktop.DBus.Error.AccessDenied"_s;
}

void TestAutostartInterface::everyCallPulsesTheIdleState()
{
    QFETCH(QString, method);
    QFETCH(QVariantList, arguments);
    QFETCH(QString, error);

    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"^couldn't get available users"_s));
    Autostart::Manager manager(Places::ofProcess(), Core::LoggedFindings::instance());
    Autostart::DBusInterface interface(&manager);
    QDBusConnection daemon = m_bus->connect(u"daemon"_s);
    QVERIFY(daemon.registerObject(u"/am"_s, &interface, QDBusConnection::ExportAllSlots));
    QList<bool> states;
    connect(&interface, &Autostart::DBusInterface::isIdleChanged, this,
            [&] { states.append(interface.property("isIdle").toBool()); });

    QDBusMessage call = QDBusMessage::createMethodCall(daemon.baseService(), u"/am"_s,
                                                       u"org.zarn.am.Autostart"_s, method);
    call.setArguments(arguments);
    const QDBusPendingCall reply = m_bus->connect(u"client"_s).asyncCall(call);
    QTRY_VERIFY(reply.isFinished());
    QCOMPARE(reply.error().name(), error);
    QCOMPARE(states, QList<bool>({false, true}));
}

void TestAutostartInterface::isIdleFromTheStart()
{
    const Autostart::DBusInterface interface(nullptr);
    QVERIFY(interface.isIdle());
}

QTEST_GUILESS_MAIN(TestAutostartInterface)
#include "tst_autostart_interface.moc"

#include "system/teller-hooks/interface.h"

#include "support/literals.h"
#include "support/private_bus.h"

#include <QDBusMessage>
#include <QDBusPendingReply>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using TellerHooks::DBusInterface;

class TestTellerHooksInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void answersAndLogsByOutcome_data();
    void answersAndLogsByOutcome();
    void asksInOrderAndHandsTheNameOnAsItIs();
    void pulsesItsIdleStateBeforeTheWork();

private:
    QDBusPendingReply<> onRemove(const QString &application) const;

    std::unique_ptr<PrivateBus> m_bus;
};

void TestTellerHooksInterface::initTestCase()
{
    m_bus = std::make_unique<PrivateBus>();
    QVERIFY(m_bus->start());
    QVERIFY(m_bus->connect(u"daemon"_s).isConnected());
    QVERIFY(m_bus->connect(u"client"_s).isConnected());
}

void TestTellerHooksInterface::cleanup()
{
    m_bus->connect(u"daemon"_s).unregisterObject(u"/hooks"_s);
}

QDBusPendingReply<> TestTellerHooksInterface::onRemove(const QString &application) const
{
    QDBusMessage call =
        QDBusMessage::createMethodCall(m_bus->connect(u"daemon"_s).baseService(), u"/hooks"_s,
                                       u"org.zarn.Teller.Hooks"_s, u"OnRemove"_s);
    call << application;
    return m_bus->connect(u"client"_s).asyncCall(call);
}

void TestTellerHooksInterface::answersAndLogsByOutcome_data()
{
    QTest::addColumn<bool>("autostart");
    QTest::addColumn<bool>("tasks");
    QTest::addColumn<QStringList>("log");

    const QString first = u"Failed to remove application \"a.b\" from autostart"_s;
    const QString second = u"Failed to remove application \"a.b\" from task manager"_s;
    QTest::newRow("both forget") << true << true << QStringList();
    QTest::newRow("autostart fails") << false << true << QStringList{first};
    QTest::newRow("tasks fail") << true << false << QStringList{second};
    QTest::newRow("both fail") << false << false << QStringList({first, second});
}

namespace {

QStringList &collectedLog()
{
    static QStringList log;
    return log;
}

} // namespace

void TestTellerHooksInterface::answersAndLogsByOutcome()
{
    QFETCH(bool, autostart);
    QFETCH(bool, tasks);
    QFETCH(QStringList, log);

    DBusInterface hooks([&](const QString &) { return autostart; },
                        [&](const QString &) { return tasks; });
    QVERIFY(m_bus->connect(u"daemon"_s)
                .registerObject(u"/hooks"_s, &hooks, QDBusConnection::ExportAllSlots));
    // Not with ignoreMessage(), because the order matters and nothing else may be logged.
    collectedLog().clear();
    const auto printed =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &text) {
            collectedLog().append(text);
        });
    const QDBusPendingReply<> reply = onRemove(u"a.b"_s);
    const bool answered = QTest::qWaitFor([&] { return reply.isFinished(); });
    qInstallMessageHandler(printed);

    QVERIFY(answered);
    QCOMPARE(collectedLog(), log);
    QCOMPARE(reply.isError(), !log.isEmpty());
    if (log.isEmpty()) {
        QCOMPARE(reply.reply().signature(), QString());
        return;
    }
    QCOMPARE(reply.error().name(), u"org.freedesktop.DBus.Error.Failed"_s);
    QCOMPARE(reply.error().message(), u"Failed to remove application a.b"_s);
}

void TestTellerHooksInterface::asksInOrderAndHandsTheNameOnAsItIs()
{
    QStringList asked;
    DBusInterface hooks(
        [&](const QString &application) {
            asked.append(u"autostart "_s + application);
            return false;
        },
        [&](const QString &application) {
            asked.append(u"tasks "_s + application);
            return true;
        });
    QVERIFY(m_bus->connect(u"daemon"_s)
                .registerObject(u"/hooks"_s, &hooks, QDBusConnection::ExportAllSlots));
    QTest::ignoreMessage(QtWarningMsg, "Failed to remove application \"../%1 x\" from autostart");

    const QDBusPendingReply<> reply = onRemove(u"../%1 x"_s);
    QTRY_VERIFY(reply.isFinished());
    QCOMPARE(asked, QStringList({u"autostart ../%1 x"_s, u"tasks ../%1 x"_s}));
    QCOMPARE(reply.error().message(), u"Failed to remove application ../%1 x"_s);
}

void TestTellerHooksInterface::pulsesItsIdleStateBeforeTheWork()
{
    QList<bool> states;
    QList<bool>::size_type pulsesBeforeWork = 0;
    DBusInterface hooks(
        [&](const QString &) {
            pulsesBeforeWork = states.size();
            return true;
        },
        [](const QString &) { return true; });
    connect(&hooks, &DBusInterface::isIdleChanged, this,
            [&] { states.append(hooks.property("isIdle").toBool()); });
    QVERIFY(hooks.isIdle());

    // This works without a bus, which is needed only for an error.
    hooks.OnRemove(u"a.b"_s);
    QCOMPARE(states, QList<bool>({false, true}));
    QCOMPARE(pulsesBeforeWork, 2);
    QVERIFY(hooks.isIdle());
}

QTEST_GUILESS_MAIN(TestTellerHooksInterface)
#include "tst_teller_hooks_interface.moc"

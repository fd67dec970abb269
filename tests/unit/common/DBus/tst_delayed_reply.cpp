#include "common/Core/error.h"
#include "common/DBus/delayed_reply.h"
#include "support/literals.h"
#include "support/private_bus.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QPointer>
#include <QTest>

#include <memory>

/// Receives a call and is destroyed, so that the answer is sent later by the reply object.
class Worker : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.example.Worker")

public:
    explicit Worker(std::unique_ptr<DBus::DelayedReply> &reply)
        : m_reply(reply)
    {
    }

public Q_SLOTS:
    int Work()
    {
        setDelayedReply(true);
        m_reply = std::make_unique<DBus::DelayedReply>(message(), connection());
        deleteLater();
        return 5;
    }

private:
    std::unique_ptr<DBus::DelayedReply> &m_reply;
};

class TestDelayedReply : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void answersWithZeroOnSuccess();
    void answersWithNameAndMessageOnFailure();
    void keepsSilentWhenNoReplyIsWanted();

private:
    [[nodiscard]] QDBusMessage work() const
    {
        return QDBusMessage::createMethodCall(server.baseService(), u"/"_s, u"org.example.Worker"_s,
                                              u"Work"_s);
    }

    PrivateBus bus;
    QDBusConnection client{QString()};
    QDBusConnection server{QString()};
    std::unique_ptr<DBus::DelayedReply> reply;
    QPointer<Worker> worker;
};

static constexpr int timeoutMs = 30000;

void TestDelayedReply::initTestCase()
{
    QVERIFY(bus.start());
    client = bus.connect(u"client"_s);
    server = bus.connect(u"server"_s);
}

void TestDelayedReply::init()
{
    reply.reset();
    worker = new Worker(reply);
    QVERIFY(server.registerObject(u"/"_s, worker, QDBusConnection::ExportAllSlots));
}

void TestDelayedReply::answersWithZeroOnSuccess()
{
    const QDBusPendingCall call = client.asyncCall(work());
    QTRY_VERIFY_WITH_TIMEOUT(reply && !worker, timeoutMs);
    QVERIFY(!call.isFinished());
    reply->finish({});
    QTRY_VERIFY_WITH_TIMEOUT(call.isFinished(), timeoutMs);
    QCOMPARE(call.reply().type(), QDBusMessage::ReplyMessage);
    QCOMPARE(call.reply().signature(), u"i"_s);
    QCOMPARE(call.reply().arguments(), QVariantList{0});
}

void TestDelayedReply::answersWithNameAndMessageOnFailure()
{
    const QDBusPendingCall call = client.asyncCall(work());
    QTRY_VERIFY_WITH_TIMEOUT(reply && !worker, timeoutMs);
    reply->finish({Core::Error::TaskNotFound, u"Task not found: x"_s});
    QTRY_VERIFY_WITH_TIMEOUT(call.isFinished(), timeoutMs);
    QCOMPARE(call.reply().type(), QDBusMessage::ErrorMessage);
    QCOMPARE(call.error().name(), u"org.zarn.Orvane.Error.TaskNotFound"_s);
    QCOMPARE(call.error().message(), u"Task not found: x"_s);
}

void TestDelayedReply::keepsSilentWhenNoReplyIsWanted()
{
    QVERIFY(client.send(work()));
    QTRY_VERIFY_WITH_TIMEOUT(reply && !worker, timeoutMs);
    reply->finish({});
    // The connection still works: the next caller gets an answer.
    worker = new Worker(reply);
    QVERIFY(server.registerObject(u"/"_s, worker, QDBusConnection::ExportAllSlots));
    answersWithZeroOnSuccess();
}

QTEST_GUILESS_MAIN(TestDelayedReply)
#include "tst_delayed_reply.moc"

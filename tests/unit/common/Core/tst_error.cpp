#include "common/Core/error.h"
#include "common/DBus/delayed_reply.h"
#include "common/DBus/error.h"
#include "support/literals.h"

#include <QDBusError>
#include <QTest>

class TestError : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isSuccessByDefault();
    void namesEachCode_data();
    void namesEachCode();
    void printsItself();
    void convertsCallErrors_data();
    void convertsCallErrors();
    void answersLater();
};

void TestError::isSuccessByDefault()
{
    const Core::Error error;
    QCOMPARE(error.code(), 0);
    QCOMPARE(error.message(), QString());
    QVERIFY(!error);
    QVERIFY(Core::Error(Core::Error::Failed, QString()));
    QVERIFY(Core::Error(-1, QString()));
}

void TestError::namesEachCode_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("name");
    const auto row = [](int code, const char *name) {
        QTest::addRow("%d", code) << code << QString::fromLatin1(name);
    };
    for (const int code : {0, 1, 8, 12, 14, 16, -1, 4711})
        row(code, "org.freedesktop.DBus.Error.Failed");
    row(2, "org.zarn.Orvane.Error.HandlerNotFound");
    row(3, "org.zarn.Orvane.Error.HandlerFailed");
    row(4, "org.freedesktop.DBus.Error.InvalidArgs");
    row(5, "org.freedesktop.DBus.Error.NotSupported");
    row(6, "org.freedesktop.DBus.Error.AccessDenied");
    row(7, "org.zarn.Orvane.Error.ProcessNotHandled");
    row(9, "org.zarn.Orvane.Error.ApplicationAlreadyRunning");
    row(10, "org.zarn.Orvane.Error.ApplicationTerminating");
    row(11, "org.zarn.Orvane.Error.TaskNotFound");
    row(13, "org.zarn.Orvane.Error.ApplicationBlocked");
    row(15, "org.zarn.Orvane.Error.ApplicationAlreadyLaunching");
}

void TestError::namesEachCode()
{
    QFETCH(int, code);
    QFETCH(QString, name);
    const DBus::Error error(Core::Error(code, u"text"_s));
    QCOMPARE(error.name(), name);
    QCOMPARE(error.code(), code);
    QCOMPARE(error.message(), u"text"_s);
}

void TestError::printsItself()
{
    QString text;
    QDebug(&text) << "before" << Core::Error(Core::Error::TaskNotFound, u"Task not found: x"_s)
                  << "after" << 1;
    QCOMPARE(text.trimmed(), u"before Error(11, \"Task not found: x\") after 1"_s);
}

void TestError::convertsCallErrors_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("code");
    QTest::newRow("no error") << int(QDBusError::NoError) << 0;
    QTest::newRow("access denied") << int(QDBusError::AccessDenied) << 6;
    QTest::newRow("invalid arguments") << int(QDBusError::InvalidArgs) << 4;
    QTest::newRow("no reply") << int(QDBusError::NoReply) << 1;
    QTest::newRow("unknown service") << int(QDBusError::ServiceUnknown) << 1;
}

void TestError::convertsCallErrors()
{
    QFETCH(int, type);
    QFETCH(int, code);
    const QString message = u"in its own words"_s;
    const QDBusError callError =
        code == 0 ? QDBusError() : QDBusError(static_cast<QDBusError::ErrorType>(type), message);
    const Core::Error error = DBus::fromCallError(callError);
    QCOMPARE(error.code(), code);
    QCOMPARE(error.message(), code == 0 ? QString() : message);
}

void TestError::answersLater()
{
    const QDBusMessage request = QDBusMessage::createMethodCall(u"a.b"_s, u"/"_s, u"a.b"_s, u"C"_s);
    const DBus::DelayedReply reply(request, QDBusConnection(QString()));
    const QDBusMessage success = reply.replyFor({});
    QCOMPARE(success.type(), QDBusMessage::ReplyMessage);
    QCOMPARE(success.arguments(), QVariantList{0});
    QCOMPARE(success.arguments().constFirst().userType(), int(QMetaType::Int));
    const QDBusMessage failure =
        reply.replyFor({Core::Error::TaskNotFound, u"Task not found: x"_s});
    QCOMPARE(failure.errorName(), u"org.zarn.Orvane.Error.TaskNotFound"_s);
    QCOMPARE(failure.errorMessage(), u"Task not found: x"_s);
}

QTEST_GUILESS_MAIN(TestError)
#include "tst_error.moc"

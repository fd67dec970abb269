#include "common/DBus/open_call.h"

#include <QTest>

#include <functional>
#include <optional>

class TestOpenCall : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void countsEachCallOnceHoweverOftenItIsCopied();
    void countsWhileACallbackHoldsIt();
};

void TestOpenCall::countsEachCallOnceHoweverOftenItIsCopied()
{
    QCOMPARE(DBus::OpenCall::count(), 0);
    std::optional<DBus::OpenCall> first(std::in_place);
    std::optional<DBus::OpenCall> copy(first);
    const DBus::OpenCall second;
    QCOMPARE(DBus::OpenCall::count(), 2);
    first.reset();
    QCOMPARE(DBus::OpenCall::count(), 2);
    copy.reset();
    QCOMPARE(DBus::OpenCall::count(), 1);
}

void TestOpenCall::countsWhileACallbackHoldsIt()
{
    std::function<void()> callback = [open = DBus::OpenCall()] {};
    QCOMPARE(DBus::OpenCall::count(), 1);
    callback();
    QCOMPARE(DBus::OpenCall::count(), 1);
    callback = nullptr;
    QCOMPARE(DBus::OpenCall::count(), 0);
}

QTEST_GUILESS_MAIN(TestOpenCall)
#include "tst_open_call.moc"

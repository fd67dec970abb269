#include "cli/accounts.h"
#include "support/literals.h"
#include "support/temp_root.h"

#include <QTest>

class TestAccounts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void findsTheNumberOfAName_data();
    void findsTheNumberOfAName();
    void acceptsNumbersUnchecked();
    void knowsTheUsersOfThisSystemAndOfAnImage();
    void findsAnAccountByNameAndByNumber();
};

void TestAccounts::findsTheNumberOfAName_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("number");
    QTest::newRow("the first") << u"root"_s << 0;
    QTest::newRow("the last") << u"app"_s << 100000;
    QTest::newRow("the beginning of a name") << u"ap"_s << -1;
    QTest::newRow("no name") << QString() << -1;
    QTest::newRow("without a number") << u"odd"_s << -1;
    QTest::newRow("with a number below 0") << u"low"_s << -1;
    QTest::newRow("with too few fields") << u"few"_s << -1;
}

void TestAccounts::findsTheNumberOfAName()
{
    QFETCH(QString, name);
    QFETCH(int, number);
    const QByteArray passwd = "root:x:0:0::/root:/bin/sh\nodd:x:y:1::/:/bin/sh\nlow:x:-5:1::/:\n"
                              "few:x\n\napp:x:100000:100000::/home/app:/bin/sh";
    QCOMPARE(Cli::userNumberIn(passwd, name).value_or(-1), number);
}

void TestAccounts::acceptsNumbersUnchecked()
{
    QCOMPARE(Cli::userNumber(u"4242"_s, {}).value_or(-1), 4242);
    QCOMPARE(Cli::userNumber(u"-1"_s, {}).value_or(-2), -2);
    QCOMPARE(Cli::userNumber(QString(), {}).value_or(-2), -2);
}

void TestAccounts::knowsTheUsersOfThisSystemAndOfAnImage()
{
    const TempRoot root;
    root.write(u"/etc/passwd"_s, "ofimage:x:77:77::/:\n");
    QCOMPARE(Cli::userNumber(u"root"_s, {}).value_or(-1), 0);
    QVERIFY(!Cli::userNumber(u"ofimage"_s, {}));
    QCOMPARE(Cli::userNumber(u"ofimage"_s, root.path()).value_or(-1), 77);
    QVERIFY(!Cli::userNumber(u"root"_s, root.path()));
}

void TestAccounts::findsAnAccountByNameAndByNumber()
{
    const QByteArray passwd = "app:x:77:78::/home/app:/bin/sh\n88:x:5:5::/:\n";
    for (const QString &user : {u"app"_s, u"77"_s}) {
        const auto account = Cli::accountIn(passwd, user);
        QVERIFY(account);
        QCOMPARE(account->name, u"app"_s);
        QCOMPARE(account->uid, 77);
        QCOMPARE(account->gid, 78);
        QCOMPARE(account->home, u"/home/app"_s);
    }
    QVERIFY(!Cli::accountIn(passwd, u"78"_s));
    QCOMPARE(Cli::accountIn("short:x:7\n", u"short"_s)->home, QString());
    const auto root = Cli::accountOf(u"0"_s, {});
    QVERIFY(root);
    QCOMPARE(root->name, u"root"_s);
    QCOMPARE(root->home, u"/root"_s);
    QVERIFY(!Cli::accountOf(u"nobodysName"_s, {}));
}

QTEST_GUILESS_MAIN(TestAccounts)
#include "tst_accounts.moc"

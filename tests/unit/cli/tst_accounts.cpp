#include "cli/accounts.h"
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
    QTest::newRow("the first") << QStringLiteral("root") << 0;
    QTest::newRow("the last") << QStringLiteral("app") << 100000;
    QTest::newRow("the beginning of a name") << QStringLiteral("ap") << -1;
    QTest::newRow("no name") << QString() << -1;
    QTest::newRow("without a number") << QStringLiteral("odd") << -1;
    QTest::newRow("with a number below 0") << QStringLiteral("low") << -1;
    QTest::newRow("with too few fields") << QStringLiteral("few") << -1;
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
    QCOMPARE(Cli::userNumber(QStringLiteral("4242"), {}).value_or(-1), 4242);
    QCOMPARE(Cli::userNumber(QStringLiteral("-1"), {}).value_or(-2), -2);
    QCOMPARE(Cli::userNumber(QString(), {}).value_or(-2), -2);
}

void TestAccounts::knowsTheUsersOfThisSystemAndOfAnImage()
{
    const TempRoot root;
    root.write(QStringLiteral("/etc/passwd"), "ofimage:x:77:77::/:\n");
    QCOMPARE(Cli::userNumber(QStringLiteral("root"), {}).value_or(-1), 0);
    QVERIFY(!Cli::userNumber(QStringLiteral("ofimage"), {}));
    QCOMPARE(Cli::userNumber(QStringLiteral("ofimage"), root.path()).value_or(-1), 77);
    QVERIFY(!Cli::userNumber(QStringLiteral("root"), root.path()));
}

void TestAccounts::findsAnAccountByNameAndByNumber()
{
    const QByteArray passwd = "app:x:77:78::/home/app:/bin/sh\n88:x:5:5::/:\n";
    for (const QString &user : {QStringLiteral("app"), QStringLiteral("77")}) {
        const auto account = Cli::accountIn(passwd, user);
        QVERIFY(account);
        QCOMPARE(account->name, QStringLiteral("app"));
        QCOMPARE(account->uid, 77);
        QCOMPARE(account->gid, 78);
        QCOMPARE(account->home, QStringLiteral("/home/app"));
    }
    QVERIFY(!Cli::accountIn(passwd, QStringLiteral("78")));
    QCOMPARE(Cli::accountIn("short:x:7\n", QStringLiteral("short"))->home, QString());
    const auto root = Cli::accountOf(QStringLiteral("0"), {});
    QVERIFY(root);
    QCOMPARE(root->name, QStringLiteral("root"));
    QCOMPARE(root->home, QStringLiteral("/root"));
    QVERIFY(!Cli::accountOf(QStringLiteral("nobodysName"), {}));
}

QTEST_GUILESS_MAIN(TestAccounts)
#include "tst_accounts.moc"

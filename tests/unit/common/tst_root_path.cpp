#include "common/root_path.h"

#include <QTest>

class TestRootPath : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void isEmptyWhenUnset();
    void isTheUnchangedValue_data();
    void isTheUnchangedValue();
    void isReadAtEachCall();

private:
    bool wasSet = false;
    QByteArray before;
};

void TestRootPath::initTestCase()
{
    wasSet = qEnvironmentVariableIsSet("ORVANE_ROOTFS");
    before = qgetenv("ORVANE_ROOTFS");
}

void TestRootPath::cleanup()
{
    if (wasSet)
        qputenv("ORVANE_ROOTFS", before);
    else
        qunsetenv("ORVANE_ROOTFS");
}

void TestRootPath::isEmptyWhenUnset()
{
    qunsetenv("ORVANE_ROOTFS");
    QCOMPARE(rootPrefix(), QString());
}

void TestRootPath::isTheUnchangedValue_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QString>("prefix");
    QTest::newRow("empty") << QByteArray("") << QString();
    QTest::newRow("directory") << QByteArray("/mnt/image") << QStringLiteral("/mnt/image");
    QTest::newRow("trailing slash") << QByteArray("/mnt/") << QStringLiteral("/mnt/");
    QTest::newRow("relative") << QByteArray("image") << QStringLiteral("image");
    QTest::newRow("UTF-8") << QByteArray("/mnt/caf\xc3\xa9") << QStringLiteral("/mnt/caf\u00e9");
}

void TestRootPath::isTheUnchangedValue()
{
    QFETCH(QByteArray, value);
    QFETCH(QString, prefix);
    qputenv("ORVANE_ROOTFS", value);
    QCOMPARE(rootPrefix(), prefix);
}

void TestRootPath::isReadAtEachCall()
{
    qputenv("ORVANE_ROOTFS", "/one");
    QCOMPARE(rootPrefix(), QStringLiteral("/one"));
    qputenv("ORVANE_ROOTFS", "/two");
    QCOMPARE(rootPrefix(), QStringLiteral("/two"));
}

QTEST_GUILESS_MAIN(TestRootPath)
#include "tst_root_path.moc"

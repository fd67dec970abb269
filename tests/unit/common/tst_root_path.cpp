#include "common/root_path.h"
#include "support/literals.h"

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
    QTest::newRow("directory") << QByteArray("/mnt/image") << u"/mnt/image"_s;
    QTest::newRow("trailing slash") << QByteArray("/mnt/") << u"/mnt/"_s;
    QTest::newRow("relative") << QByteArray("image") << u"image"_s;
    QTest::newRow("UTF-8") << QByteArray("/mnt/caf\xc3\xa9") << u"/mnt/caf\u00e9"_s;
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
    QCOMPARE(rootPrefix(), u"/one"_s);
    qputenv("ORVANE_ROOTFS", "/two");
    QCOMPARE(rootPrefix(), u"/two"_s);
}

QTEST_GUILESS_MAIN(TestRootPath)
#include "tst_root_path.moc"

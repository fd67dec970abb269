#include "client/start_request.h"

#include <QTest>

using Client::StartRequest;

class TestStartRequest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isEmptyByDefault();
    void hasAHintForEachField();
    void distinguishesAnEmptyUserFromNone();
};

void TestStartRequest::isEmptyByDefault()
{
    QCOMPARE(StartRequest().hints(), QVariantMap());
    QCOMPARE(StartRequest().information(), QVariantMap());
}

void TestStartRequest::hasAHintForEachField()
{
    StartRequest request;
    request.user = QStringLiteral("appuser");
    request.atBoot = true;
    request.busName = QStringLiteral("com.example.Name");
    request.permissions = QStringList{QStringLiteral("Internet")};
    request.params = QStringList{QStringLiteral("-x")};
    request.homeless = true;
    request.weight = -5;
    request.cpuLimit = 7;
    request.unitSettings.insert(QStringLiteral("MemoryMax"), QStringLiteral("1M"));
    request.environment = QStringList{QStringLiteral("A=b")};
    const QVariantMap hints{
        {QStringLiteral("User"), QStringLiteral("appuser")},
        {QStringLiteral("Autostart"), 2},
        {QStringLiteral("DBusService"), QStringLiteral("com.example.Name")},
        {QStringLiteral("Permissions"), QStringList{QStringLiteral("Internet")}},
        {QStringLiteral("Params"), QStringList{QStringLiteral("-x")}},
        {QStringLiteral("Homeless"), true},
        {QStringLiteral("Weight"), -5},
        {QStringLiteral("CPULimit"), 7},
        {QStringLiteral("CGroups"),
         QVariantMap{{QStringLiteral("MemoryMax"), QStringLiteral("1M")}}}};
    QCOMPARE(request.hints(), hints);
    QCOMPARE(request.information(),
             (QVariantMap{{QStringLiteral("Environment"), QStringList{QStringLiteral("A=b")}}}));
}

void TestStartRequest::distinguishesAnEmptyUserFromNone()
{
    StartRequest request;
    request.user = QString();
    QVERIFY(request.hints().contains(QStringLiteral("User")));
}

QTEST_GUILESS_MAIN(TestStartRequest)
#include "tst_start_request.moc"

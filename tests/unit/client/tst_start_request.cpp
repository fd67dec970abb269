#include "client/start_request.h"
#include "support/literals.h"

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
    request.user = u"appuser"_s;
    request.atBoot = true;
    request.busName = u"com.example.Name"_s;
    request.permissions = QStringList{u"Internet"_s};
    request.params = QStringList{u"-x"_s};
    request.homeless = true;
    request.weight = -5;
    request.cpuLimit = 7;
    request.unitSettings.insert(u"MemoryMax"_s, u"1M"_s);
    request.environment = QStringList{u"A=b"_s};
    const QVariantMap hints{{u"User"_s, u"appuser"_s},
                            {u"Autostart"_s, 2},
                            {u"DBusService"_s, u"com.example.Name"_s},
                            {u"Permissions"_s, QStringList{u"Internet"_s}},
                            {u"Params"_s, QStringList{u"-x"_s}},
                            {u"Homeless"_s, true},
                            {u"Weight"_s, -5},
                            {u"CPULimit"_s, 7},
                            {u"CGroups"_s, QVariantMap{{u"MemoryMax"_s, u"1M"_s}}}};
    QCOMPARE(request.hints(), hints);
    QCOMPARE(request.information(), (QVariantMap{{u"Environment"_s, QStringList{u"A=b"_s}}}));
}

void TestStartRequest::distinguishesAnEmptyUserFromNone()
{
    StartRequest request;
    request.user = QString();
    QVERIFY(request.hints().contains(u"User"_s));
}

QTEST_GUILESS_MAIN(TestStartRequest)
#include "tst_start_request.moc"

#include "system/DBus/user_share.h"

#include <QTest>

#include <optional>
#include <vector>

using DBus::UserShare;

class TestUserShare : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void leavesOthersTheirPlaces();
    void givesAPlaceBackWithItsLastCopy();
    void doesNotBindRoot();
    void mayBeOutlivedByAPlace();
};

void TestUserShare::leavesOthersTheirPlaces()
{
    UserShare share(2);
    const UserShare::Place first = share.takePlace(1000);
    const UserShare::Place second = share.takePlace(1000);
    QVERIFY(first && second);
    QVERIFY(!share.takePlace(1000));
    QVERIFY(share.takePlace(1001));
}

void TestUserShare::givesAPlaceBackWithItsLastCopy()
{
    UserShare share(1);
    UserShare::Place place = share.takePlace(1000);
    UserShare::Place copy = place;
    place.reset();
    QVERIFY(!share.takePlace(1000));
    copy.reset();
    QVERIFY(share.takePlace(1000));
}

void TestUserShare::doesNotBindRoot()
{
    UserShare share(1);
    std::vector<UserShare::Place> places;
    for (int i = 0; i < 10; ++i)
        places.push_back(share.takePlace(0));
    for (const UserShare::Place &place : places)
        QVERIFY(place);
}

void TestUserShare::mayBeOutlivedByAPlace()
{
    std::optional<UserShare> share(1);
    UserShare::Place place = share->takePlace(1000);
    share.reset();
    place.reset();
    QVERIFY(!place);
}

QTEST_GUILESS_MAIN(TestUserShare)
#include "tst_user_share.moc"

#include "system/DBus/user_quota.h"

#include <QTest>

#include <optional>
#include <vector>

using DBus::UserQuota;

class TestUserQuota : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void leavesRoomForOtherUsers();
    void freesAReservationWithItsLastCopy();
    void doesNotLimitRoot();
    void mayBeDestroyedBeforeAReservation();
};

void TestUserQuota::leavesRoomForOtherUsers()
{
    UserQuota share(2);
    const UserQuota::Reservation first = share.reserve(1000);
    const UserQuota::Reservation second = share.reserve(1000);
    QVERIFY(first && second);
    QVERIFY(!share.reserve(1000));
    QVERIFY(share.reserve(1001));
}

void TestUserQuota::freesAReservationWithItsLastCopy()
{
    UserQuota share(1);
    UserQuota::Reservation place = share.reserve(1000);
    UserQuota::Reservation copy = place;
    place.reset();
    QVERIFY(!share.reserve(1000));
    copy.reset();
    QVERIFY(share.reserve(1000));
}

void TestUserQuota::doesNotLimitRoot()
{
    UserQuota share(1);
    std::vector<UserQuota::Reservation> places;
    for (int i = 0; i < 10; ++i)
        places.push_back(share.reserve(0));
    for (const UserQuota::Reservation &place : places)
        QVERIFY(place);
}

void TestUserQuota::mayBeDestroyedBeforeAReservation()
{
    std::optional<UserQuota> share(1);
    UserQuota::Reservation place = share->reserve(1000);
    share.reset();
    place.reset();
    QVERIFY(!place);
}

QTEST_GUILESS_MAIN(TestUserQuota)
#include "tst_user_quota.moc"

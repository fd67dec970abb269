#include <QTest>

#include <sailfishaccesscontrol.h>

#include <grp.h>
#include <pwd.h>

class TestAccessControl : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void knowsThePrimaryGroup();
    void knowsMembers();
    void answersNoForTheUnknown();
};

void TestAccessControl::knowsThePrimaryGroup()
{
    QVERIFY(sailfish_access_control_hasgroup(0, "root"));
    QVERIFY(!sailfish_access_control_hasgroup(0, "nogroup"));
}

void TestAccessControl::knowsMembers()
{
    // Compares with the members in this machine's user database.
    setgrent();
    int asked = 0;
    while (const group *entry = getgrent()) {
        const QByteArray name = entry->gr_name;
        for (char **member = entry->gr_mem; *member != nullptr; ++member) {
            if (const passwd *user = getpwnam(*member)) {
                QVERIFY(sailfish_access_control_hasgroup(user->pw_uid, name.constData()));
                ++asked;
            }
        }
    }
    endgrent();
    qDebug("%d memberships asked for", asked);
}

void TestAccessControl::answersNoForTheUnknown()
{
    QVERIFY(!sailfish_access_control_hasgroup(4000000001u, "root"));
    QVERIFY(!sailfish_access_control_hasgroup(0, "no-such-group"));
    QVERIFY(!sailfish_access_control_hasgroup(0, ""));
    QVERIFY(!sailfish_access_control_hasgroup(static_cast<uid_t>(-2), "root"));
}

QTEST_GUILESS_MAIN(TestAccessControl)
#include "tst_access_control.moc"

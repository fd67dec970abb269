#include "support/fixture.h"
#include "support/literals.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

namespace {

QStringList words(const char *line)
{
    return QString::fromLatin1(line).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

QJsonObject objectIn(const QByteArray &text) { return QJsonDocument::fromJson(text).object(); }

} // namespace

// orvanectl autostart: list and explain read files alone, enable and disable call the daemon.
class TestOrvanectlAutostart : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void listsWhatStartsForAUser();
    void listsWhatStartsForAllUsers();
    void listsOneApplication();
    void explainsEveryLayer();
    void explainsAsJson();
    void explainsThatNoSettingSpeaksOfIt();
    void takesUsersOfAnImage();
    void switchesForOneUserAndForAll();
    void saysWhoMaySwitch();
    void saysThatAnIdIsNone();
    void refusesAWrongLine_data();
    void refusesAWrongLine();

private:
    // Runs the tool on the files below the root, without a daemon and without a bus.
    [[nodiscard]] ToolOutput read(const char *line) const
    {
        return fixture->runTool(words(line) + QStringList{u"--root"_s, fixture->root.path()},
                                {u"DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nowhere"_s});
    }
    [[nodiscard]] ToolOutput run(const char *line) const { return fixture->runTool(words(line)); }
    [[nodiscard]] QString shipped() const
    {
        return fixture->root.path(u"/etc/am/conf.d/shipped.conf"_s);
    }
    [[nodiscard]] QString stored(const char *name) const
    {
        return fixture->root.path(u"/var/lib/am/apps/com.example.Notes/"_s + QLatin1String(name));
    }

    std::unique_ptr<Fixture> fixture;
};

void TestOrvanectlAutostart::init()
{
    fixture = std::make_unique<Fixture>();
    fixture->root.write(
        u"/etc/am/conf.d/shipped.conf"_s,
        "[com.example.Notes]\nautostart=true\n[com.example.Mail]\nautostart=true\n");
    fixture->root.write(u"/var/lib/am/apps/com.example.Notes/all-users.conf"_s,
                        "# set\n[com.example.Notes]\nautostart=true\n");
    fixture->root.write(u"/var/lib/am/apps/com.example.Notes/4242.conf"_s,
                        "[com.example.Notes|4242]\nautostart=false\n");
}

void TestOrvanectlAutostart::cleanup() { fixture.reset(); }

void TestOrvanectlAutostart::listsWhatStartsForAUser()
{
    const ToolOutput output = read("autostart list --user 4242");
    QCOMPARE(output.errors, QByteArray());
    QCOMPARE(QString::fromUtf8(output.out),
             u"APPLICATION        STARTS  FILE\n"
             "com.example.Mail   yes     %1:4\n"
             "com.example.Notes  no      %2:2\n"_s.arg(shipped(), stored("4242.conf")));
    QCOMPARE(output.status, 0);
}

void TestOrvanectlAutostart::listsWhatStartsForAllUsers()
{
    const QJsonObject object = objectIn(read("autostart list --all-users --json").out);
    QVERIFY(!object.contains(u"user"_s));
    const QJsonArray applications = object.value(u"applications"_s).toArray();
    QCOMPARE(applications.size(), 2);
    const QJsonObject notes = applications.at(1).toObject();
    QCOMPARE(notes.value(u"application"_s).toString(), u"com.example.Notes"_s);
    QCOMPARE(notes.value(u"enabled"_s).toBool(), true);
    const QJsonObject setting = notes.value(u"decidedBy"_s).toObject();
    QCOMPARE(setting.value(u"file"_s).toString(), stored("all-users.conf"));
    QCOMPARE(setting.value(u"line"_s).toInt(), 3);
}

void TestOrvanectlAutostart::listsOneApplication()
{
    const ToolOutput output = read("autostart list com.example.Mail --user 4242");
    QCOMPARE(output.out.count('\n'), 2);
    QVERIFY(output.out.contains("com.example.Mail "));
}

void TestOrvanectlAutostart::explainsEveryLayer()
{
    const ToolOutput output = read("autostart explain com.example.Notes --user 4242");
    QCOMPARE(QString::fromUtf8(output.out),
             u"com.example.Notes does not start for the user 4242\n"
             "LAYER      STARTS  DECIDES  FILE\n"
             "system     yes     no       %1:2\n"
             "all-users  yes     no       %2:3\n"
             "user       no      yes      %3:2\n"
             "Root and the group privileged may change it: "
             "orvanectl autostart enable|disable\n"_s.arg(shipped(), stored("all-users.conf"),
                                                          stored("4242.conf")));
    QCOMPARE(output.status, 0);
}

void TestOrvanectlAutostart::explainsAsJson()
{
    const QJsonObject object =
        objectIn(read("autostart explain com.example.Notes --user 4242 --json").out);
    QCOMPARE(object.value(u"user"_s).toInt(), 4242);
    QCOMPARE(object.value(u"enabled"_s).toBool(true), false);
    const QJsonArray settings = object.value(u"settings"_s).toArray();
    QStringList told;
    for (const auto &value : settings) {
        const QJsonObject setting = value.toObject();
        told.append(setting.value(u"layer"_s).toString()
                    + (setting.value(u"decides"_s).toBool() ? u"!"_s : QString()));
    }
    QCOMPARE(told, words("system all-users user!"));
    QCOMPARE(object.value(u"mayChange"_s).toArray().size(), 2);
}

void TestOrvanectlAutostart::explainsThatNoSettingSpeaksOfIt()
{
    const ToolOutput output = read("autostart explain com.example.Other --all-users");
    QVERIFY2(output.out.startsWith("com.example.Other does not start for all users: there is no "
                                   "setting for it\n"),
             output.out.constData());
    QCOMPARE(output.out.count("no setting\n"), 2);
}

void TestOrvanectlAutostart::takesUsersOfAnImage()
{
    fixture->root.write(u"/etc/passwd"_s, "ofimage:x:4242:4242::/:\n");
    const ToolOutput output = read("autostart list --user ofimage --json");
    QCOMPARE(objectIn(output.out).value(u"user"_s).toInt(), 4242);
    const ToolOutput unknown = read("autostart list --user nobody-of-that-name");
    QCOMPARE(unknown.status, 1);
    QCOMPARE(unknown.errors, QByteArray("orvanectl: there is no user nobody-of-that-name\n"));
}

void TestOrvanectlAutostart::switchesForOneUserAndForAll()
{
    QVERIFY(fixture->start({u"ORVANE_SKIP_AUTHENTICATION=1"_s}));
    QCOMPARE(run("autostart enable com.example.Notes --user 4242").errors,
             QByteArray("orvanectl: warning: there is no com.example.Notes.desktop, which the "
                        "launcher looks for\n"));
    fixture->root.write(u"/usr/share/applications/com.example.Notes.desktop"_s, {});
    const ToolOutput output = run("autostart enable com.example.Notes --user 4242 --json");
    QCOMPARE(output.errors, QByteArray());
    QCOMPARE(output.status, 0);
    QCOMPARE(objectIn(output.out).value(u"outcome"_s).toString(), u"accepted"_s);
    QVERIFY(read("autostart explain com.example.Notes --user 4242").out.contains("Notes starts"));
    QCOMPARE(run("autostart disable com.example.Notes --all-users").status, 0);
    for (const char *line : {"autostart explain com.example.Notes --user 4242",
                             "autostart explain com.example.Notes --all-users"})
        QVERIFY2(read(line).out.contains("does not start"), line);
}

void TestOrvanectlAutostart::saysWhoMaySwitch()
{
    // The daemon refuses the tool, because it looks its caller up in /proc below its root, where
    // there is none.
    QVERIFY(fixture->start());
    const ToolOutput output = run("autostart enable com.example.Notes");
    QCOMPARE(output.status, 1);
    QCOMPARE(output.out, QByteArray());
    QVERIFY2(output.errors.contains("members of the group privileged"), output.errors.constData());
}

void TestOrvanectlAutostart::saysThatAnIdIsNone()
{
    QVERIFY(fixture->start({u"ORVANE_SKIP_AUTHENTICATION=1"_s}));
    const ToolOutput output = run("autostart enable rubbish --user 4242");
    QCOMPARE(output.status, 1);
    QCOMPARE(output.errors,
             QByteArray("orvanectl: Failed to set autostart value for user with UID 4242\n"));
}

void TestOrvanectlAutostart::refusesAWrongLine_data()
{
    QTest::addColumn<QStringList>("line");
    QTest::newRow("no action") << words("autostart");
    QTest::newRow("an unknown action") << words("autostart toggle com.example.Notes");
    QTest::newRow("no application") << words("autostart enable");
    QTest::newRow("a user and all users") << words("autostart list --user root --all-users");
    QTest::newRow("a change of an image")
        << words("autostart enable com.example.Notes --root /mnt");
}

void TestOrvanectlAutostart::refusesAWrongLine()
{
    QFETCH(QStringList, line);
    const ToolOutput output = fixture->runTool(line);
    QCOMPARE(output.status, 2);
    QCOMPARE(output.out, QByteArray());
    QCOMPARE(output.errors.count('\n'), 1);
    QVERIFY2(output.errors.contains("--help"), output.errors.constData());
}

QTEST_GUILESS_MAIN(TestOrvanectlAutostart)
#include "tst_orvanectl_autostart.moc"

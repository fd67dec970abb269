#include "plan/unit_text.h"
#include "service/Core/firejail_p.h"
#include "support/literals.h"
#include "support/private_bus.h"
#include "system/Core/start_hints.h"
#include "system/Core/task_manager_p.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QtTest>

using Core::ApplicationId;
using Core::ApplicationTaskId;
using Core::Error;
using Core::TaskManagerPrivate;
using TaskInfo = Core::ApplicationRegistry::TaskInfo;

namespace {

TaskInfo taskWithExec(const QString &exec)
{
    TaskInfo task;
    task.taskId = ApplicationTaskId(ApplicationId(u"com.example"_s, u"Notes"_s), u"sync"_s);
    task.exec = exec;
    return task;
}

TaskInfo typicalTask() { return taskWithExec(u"/bin/true -v"_s); }

QVariantMap withUser(QVariantMap settings = {})
{
    settings.insert(u"User"_s, u"nobody"_s);
    return settings;
}

// The option that a permission gives on this machine. If the machine does not have the permission,
// a log line is expected.
QString permissionOption(const char *name)
{
    const QString path = Core::permissionPath(
        QLatin1String(name),
        {u"/etc/sailjail/permissions/"_s, u"/var/lib/sailjail/permissions/"_s});
    if (!path.isEmpty())
        return u" --profile="_s + path;
    const QByteArray warning = QByteArray("Unknown permission \"") + name + "\"";
    QTest::ignoreMessage(QtWarningMsg, warning.constData());
    return {};
}

QString sandboxOfTheTask()
{
    return u"/usr/bin/firejail --quiet --private-bin=true "
           "--template=OrganizationName:com.example "
           "--template=ApplicationName:Notes "
           "--whitelist=/usr/share/com.example.Notes "
           "--mkdir=${HOME}/.cache/com.example/Notes "
           "--whitelist=${HOME}/.cache/com.example/Notes "
           "--mkdir=${HOME}/.local/share/com.example/Notes "
           "--whitelist=${HOME}/.local/share/com.example/Notes "
           "--mkdir=${HOME}/.config/com.example/Notes "
           "--whitelist=${HOME}/.config/com.example/Notes "
           "--dbus-user=none "
           "--whitelist=/srv/shared/com.example/Notes "
           "--dbus-system.talk=com.example.Notes.* "
           "--mkdir=${HOME}/.cache/com.example/common "
           "--whitelist=${HOME}/.cache/com.example/common "
           "--mkdir=${HOME}/.config/com.example/common "
           "--whitelist=${HOME}/.config/com.example/common "
           "--mkdir=${HOME}/.local/share/com.example/common "
           "--whitelist=${HOME}/.local/share/com.example/common "
           "--whitelist=/usr/share/common/com.example "
           "--whitelist=/srv/shared/com.example/common "
           "--whitelist=/srv/shared/empty --blacklist=/srv/shared/empty "
           "--whitelist=/usr/share/common/empty "
           "--blacklist=/usr/share/common/empty"_s;
}

QString sandboxOfTheHomelessTask()
{
    return u"/usr/bin/firejail --quiet --private-bin=true "
           "--template=OrganizationName:com.example "
           "--template=ApplicationName:Notes "
           "--whitelist=/usr/share/com.example.Notes "
           "--dbus-user=none "
           "--whitelist=/srv/shared/com.example/Notes "
           "--dbus-system.talk=com.example.Notes.* "
           "--whitelist=/usr/share/common/com.example "
           "--whitelist=/srv/shared/com.example/common "
           "--whitelist=/srv/shared/empty --blacklist=/srv/shared/empty "
           "--whitelist=/usr/share/common/empty "
           "--blacklist=/usr/share/common/empty"_s;
}

QStringList ownEnvironment()
{
    return {u"HALCYN_APP_ID=com.example.Notes"_s, u"HALCYN_PACKAGE_NAME=com.example.Notes"_s,
            u"HALCYN_TASK_ID=sync"_s, u"QT_QPA_PLATFORM=minimal"_s};
}

QVariantMap build(const QVariantMap &settings, const TaskInfo &task = typicalTask(),
                  const QVariantMap &startParameters = {})
{
    QVariantMap properties;
    const Error error =
        TaskManagerPrivate::buildUnitProperties(properties, task, startParameters, settings);
    if (error)
        properties = {{u"error"_s, error.message()}};
    return properties;
}

QByteArray unitOf(const QVariantMap &properties, const QString &taskId = u"a"_s)
{
    return Core::unitText(taskId, Core::unitValuesOf(properties));
}

QString commandOf(const QVariantMap &properties)
{
    const QString line = properties.value(u"ExecStart"_s).toString();
    return line.mid(line.indexOf(QLatin1String(" -- ")));
}

// Receives a map over the bus, as the daemon receives a client's hints, and stores it.
class Receiver : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.example.Receiver")

public:
    QVariantMap received;
    bool called = false;

public Q_SLOTS:
    void take(const QVariantMap &map)
    {
        received = map;
        called = true;
    }
};

// Sends maps over a bus, as clients send hints.
class Wire
{
public:
    Wire()
        : m_isUp(m_bus.start())
        , m_to(m_bus.connect(u"to"_s))
        , m_from(m_bus.connect(u"from"_s))
    {
        m_to.registerObject(u"/"_s, &m_receiver, QDBusConnection::ExportAllSlots);
    }
    ~Wire()
    {
        QDBusConnection::disconnectFromBus(u"from"_s);
        QDBusConnection::disconnectFromBus(u"to"_s);
    }
    Q_DISABLE_COPY(Wire)

    QVariantMap carry(const QVariantMap &map)
    {
        QDBusMessage message = QDBusMessage::createMethodCall(m_to.baseService(), u"/"_s,
                                                              u"org.example.Receiver"_s, u"take"_s);
        message << map;
        m_from.send(message);
        constexpr int timeoutMs = 30000;
        return m_isUp && QTest::qWaitFor([this] { return m_receiver.called; }, timeoutMs)
            ? m_receiver.received
            : QVariantMap();
    }

private:
    Receiver m_receiver;
    PrivateBus m_bus;
    bool m_isUp;
    QDBusConnection m_to;
    QDBusConnection m_from;
};

} // namespace

class TestUnitProperties : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { qunsetenv("ORVANE_COMPONENT_TESTS"); }
    void describesATypicalTask();
    void writesATypicalUnitByteForByte();
    void describesAHomelessTask();
    void keepsWhatPropertiesHeldBefore();
    void takesControlGroupSettingsUnchanged();
    void letsControlGroupSettingsReplaceTheTarget();
    void replacesControlGroupSettingsWithItsOwn();
    void ignoresControlGroupSettingsThatAreNoMap();
    void readsNumbers_data();
    void readsNumbers();
    void needsAUser_data();
    void needsAUser();
    void acceptsEveryOtherUser_data();
    void acceptsEveryOtherUser();
    void putsTheCallersEnvironmentFirst();
    void asksForPermissionsInOrder();
    void asksForTheHomelessPermissionLast();
    void splitsTheCommandLineAtEveryBlank();
    void appendsParameters();
    void endsTheCommandLineAtAZeroByte();
    void returnsWhatTheSandboxRefuses();
    void refusesACommandLineThatLeavesItsLine_data();
    void refusesACommandLineThatLeavesItsLine();
    void refusesAnIdThatLeavesItsLine();
    void refusesAProgramThatASandboxWouldReadOtherwise_data();
    void refusesAProgramThatASandboxWouldReadOtherwise();
    void refusesAnIdThatIsNotTheApplicationsOwn_data();
    void refusesAnIdThatIsNotTheApplicationsOwn();
    void refusesHintsThatLeaveTheirLine_data();
    void refusesHintsThatLeaveTheirLine();
    void refusesAnEnvironmentThatLeavesItsLine_data();
    void refusesAnEnvironmentThatLeavesItsLine();
    void refusesHintsFromTheWire();
    void keepsOddTextInHints_data();
    void keepsOddTextInHints();
    void writesAByteAsANumber();
    void complainsOfHintsBeforeTheSandboxDoes();
    void complainsOfTheUserBeforeTheCommandLine();
    void acceptsHarmlessSigns_data();
    void acceptsHarmlessSigns();
    void acceptsHintsFromTheWire();
    void acceptsControlGroupSettingsFromTheWire();
};

void TestUnitProperties::describesATypicalTask()
{
    const QString permission = permissionOption("BaseTask");
    const QVariantMap expected{
        {u"Environment"_s, ownEnvironment()},
        {u"ExecStart"_s, sandboxOfTheTask() + permission + u" -- /bin/true -v"_s},
        {u"User"_s, u"nobody"_s},
        {u"WantedBy"_s, u"multi-user.target"_s}};
    QCOMPARE(build(withUser()), expected);
}

void TestUnitProperties::writesATypicalUnitByteForByte()
{
    const QString permission = permissionOption("BaseTask");
    const QVariantMap groups{{u"MemoryMax"_s, u"64M"_s}};
    const QVariantMap properties =
        build(withUser({{u"CGroups"_s, groups}, {u"Weight"_s, 500}, {u"CPULimit"_s, 30}}));
    const QString expected = u"[Unit]\n"
                             "Description=Background task for "
                             "com.example.Notes.task_sync\n"
                             "After=sailjail-prepare-binds.service\n"
                             "\n"
                             "[Service]\n"
                             "Environment=HALCYN_APP_ID=com.example.Notes "
                             "HALCYN_PACKAGE_NAME=com.example.Notes "
                             "HALCYN_TASK_ID=sync QT_QPA_PLATFORM=minimal\n"
                             "ExecStart="_s
        + sandboxOfTheTask() + permission
        + u" -- /bin/true -v\n"
          "LimitCPU=30\n"
          "MemoryMax=64M\n"
          "OOMScoreAdjust=500\n"
          "User=nobody\n"
          "\n"
          "[Install]\n"
          "WantedBy=multi-user.target\n"_s;
    QCOMPARE(QString::fromUtf8(unitOf(properties, u"com.example.Notes.task_sync"_s)), expected);
}

void TestUnitProperties::describesAHomelessTask()
{
    const QString permission = permissionOption("HomelessTask");
    const QVariantMap properties = build(withUser({{u"Homeless"_s, true}}));
    QCOMPARE(properties.value(u"ExecStart"_s).toString(),
             sandboxOfTheHomelessTask() + permission + u" -- /bin/true -v"_s);
}

void TestUnitProperties::keepsWhatPropertiesHeldBefore()
{
    permissionOption("BaseTask");
    QVariantMap properties{{u"Nice"_s, 5}, {u"User"_s, u"before"_s}};
    QCOMPARE(TaskManagerPrivate::buildUnitProperties(properties, typicalTask(), {}, withUser())
                 .message(),
             QString());
    QCOMPARE(properties.value(u"Nice"_s), QVariant(5));
    QCOMPARE(properties.value(u"User"_s), QVariant(u"nobody"_s));
}

void TestUnitProperties::takesControlGroupSettingsUnchanged()
{
    permissionOption("BaseTask");
    const QVariantMap groups{{u"MemoryMax"_s, u"64M"_s}, {u"TasksMax"_s, 12}, {u"Nice"_s, -5}};
    const QVariantMap properties = build(withUser({{u"CGroups"_s, groups}}));
    for (auto it = groups.cbegin(); it != groups.cend(); ++it)
        QCOMPARE(properties.value(it.key()), it.value());
    QCOMPARE(properties.size(), 7);
}

void TestUnitProperties::letsControlGroupSettingsReplaceTheTarget()
{
    permissionOption("BaseTask");
    const QString target = u"graphical.target"_s;
    const QVariantMap groups{{u"WantedBy"_s, target}};
    const QVariantMap properties = build(withUser({{u"CGroups"_s, groups}}));
    QCOMPARE(properties.value(u"WantedBy"_s), QVariant(target));
    QVERIFY(unitOf(properties).endsWith("\n\n[Install]\nWantedBy=graphical.target\n"));
}

void TestUnitProperties::replacesControlGroupSettingsWithItsOwn()
{
    permissionOption("BaseTask");
    const QVariantMap groups{{u"User"_s, u"root"_s},
                             {u"ExecStart"_s, u"/bin/sh"_s},
                             {u"Environment"_s, u"A=1"_s},
                             {u"OOMScoreAdjust"_s, 1},
                             {u"LimitCPU"_s, 2}};
    const QVariantMap properties = build(withUser({{u"CGroups"_s, groups}, {u"Weight"_s, 7}}));
    QCOMPARE(properties.value(u"User"_s), QVariant(u"nobody"_s));
    QVERIFY(properties.value(u"ExecStart"_s)
                .toString()
                .startsWith(QLatin1String("/usr/bin/firejail ")));
    QCOMPARE(properties.value(u"Environment"_s), QVariant(ownEnvironment()));
    QCOMPARE(properties.value(u"OOMScoreAdjust"_s), QVariant(7));
    // Without a limit of its own, the value that was set is kept.
    QCOMPARE(properties.value(u"LimitCPU"_s), QVariant(2));
}

void TestUnitProperties::ignoresControlGroupSettingsThatAreNoMap()
{
    permissionOption("BaseTask");
    const QVariantMap properties = build(withUser({{u"CGroups"_s, u"MemoryMax=64M"_s}}));
    QCOMPARE(QStringList(properties.keys()),
             (QStringList{u"Environment"_s, u"ExecStart"_s, u"User"_s, u"WantedBy"_s}));
}

void TestUnitProperties::readsNumbers_data()
{
    QTest::addColumn<QString>("setting");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("expected");
    const struct
    {
        QString setting;
        QString key;
    } numbers[] = {{u"Weight"_s, u"OOMScoreAdjust"_s}, {u"CPULimit"_s, u"LimitCPU"_s}};
    for (const auto &number : numbers) {
        const auto row = [&number](const char *what, const QVariant &value,
                                   const QVariant &expected) {
            QTest::addRow("%s: %s", qPrintable(number.setting), what)
                << number.setting << value << number.key << expected;
        };
        row("positive", 250, 250);
        row("negative", -250, -250);
        row("zero", 0, QVariant());
        row("a number in text", u"42"_s, 42);
        row("other text", u"much"_s, QVariant());
        row("missing", QVariant(), QVariant());
    }
}

void TestUnitProperties::readsNumbers()
{
    QFETCH(QString, setting);
    QFETCH(QVariant, value);
    QFETCH(QString, key);
    QFETCH(QVariant, expected);
    permissionOption("BaseTask");
    const QVariantMap properties = build(withUser({{setting, value}}));
    QCOMPARE(properties.contains(key), expected.isValid());
    QCOMPARE(properties.value(key), expected);
    QCOMPARE(properties.size(), expected.isValid() ? 5 : 4);
}

void TestUnitProperties::needsAUser_data()
{
    QTest::addColumn<QVariantMap>("settings");
    QTest::addColumn<QString>("message");
    const QString key = u"User"_s;
    const QString missing = u"Missing required User key"_s;
    QTest::newRow("missing") << QVariantMap() << missing;
    QTest::newRow("empty") << QVariantMap{{key, QString()}} << missing;
    QTest::newRow("no text") << QVariantMap{{key, QVariantMap()}} << missing;
    QTest::newRow("root") << QVariantMap{{key, u"root"_s}} << u"User cannot be root"_s;
}

void TestUnitProperties::needsAUser()
{
    QFETCH(QVariantMap, settings);
    QFETCH(QString, message);
    QVariantMap properties;
    const Error error =
        TaskManagerPrivate::buildUnitProperties(properties, typicalTask(), {}, settings);
    QCOMPARE(error.message(), message);
    QCOMPARE(error.code(), qint32(Error::InvalidArgs));
    QVERIFY(!properties.contains(u"ExecStart"_s));
}

void TestUnitProperties::acceptsEveryOtherUser_data()
{
    QTest::addColumn<QString>("user");
    QTest::newRow("root with a capital") << u"Root"_s;
    QTest::newRow("an ordinary one") << u"defaultuser"_s;
    QTest::newRow("a number") << u"100000"_s;
}

void TestUnitProperties::acceptsEveryOtherUser()
{
    QFETCH(QString, user);
    permissionOption("BaseTask");
    QCOMPARE(build({{u"User"_s, user}}).value(u"User"_s), QVariant(user));
}

void TestUnitProperties::putsTheCallersEnvironmentFirst()
{
    permissionOption("BaseTask");
    const QStringList given{u"A=1"_s, u"B=two words"_s};
    const QVariantMap properties = build(withUser(), typicalTask(), {{u"Environment"_s, given}});
    QCOMPARE(properties.value(u"Environment"_s), QVariant(given + ownEnvironment()));
}

void TestUnitProperties::asksForPermissionsInOrder()
{
    // The order shows in the warnings about unknown names.
    QTest::ignoreMessage(QtWarningMsg, "Unknown permission \"no-such-b\"");
    QTest::ignoreMessage(QtWarningMsg, "Unknown permission \"no-such-a\"");
    const QString last = permissionOption("BaseTask");
    const QStringList asked{u"no-such-b"_s, u"no-such-a"_s};
    const QVariantMap properties = build(withUser({{u"Permissions"_s, asked}}));
    QCOMPARE(properties.value(u"ExecStart"_s).toString(),
             sandboxOfTheTask() + last + u" -- /bin/true -v"_s);
}

void TestUnitProperties::asksForTheHomelessPermissionLast()
{
    QTest::ignoreMessage(QtWarningMsg, "Unknown permission \"no-such\"");
    const QString last = permissionOption("HomelessTask");
    const QVariantMap properties =
        build(withUser({{u"Permissions"_s, QStringList{u"no-such"_s}}, {u"Homeless"_s, true}}));
    QCOMPARE(properties.value(u"ExecStart"_s).toString(),
             sandboxOfTheHomelessTask() + last + u" -- /bin/true -v"_s);
}

void TestUnitProperties::splitsTheCommandLineAtEveryBlank()
{
    permissionOption("BaseTask");
    // Between two blanks is an empty argument, so both blanks are kept when the words are joined.
    const QVariantMap properties = build(withUser(), taskWithExec(u"/bin/true  \"a b\" "_s));
    QCOMPARE(commandOf(properties), u" -- /bin/true  \"a b\" "_s);

    // The first word is always the program.
    QTest::ignoreMessage(QtWarningMsg,
                         "Failed to build firejail argv: \" is not an absolute path\"");
    QCOMPARE(build(withUser(), taskWithExec(u" /bin/true"_s)),
             (QVariantMap{{u"error"_s, u" is not an absolute path"_s}}));
}

void TestUnitProperties::appendsParameters()
{
    permissionOption("BaseTask");
    const QStringList params{u"--fast"_s, u"two words"_s, QString(), u"ü"_s};
    const QVariantMap properties = build(withUser({{u"Params"_s, params}}));
    QCOMPARE(commandOf(properties), u" -- /bin/true -v --fast two words  ü"_s);
}

void TestUnitProperties::endsTheCommandLineAtAZeroByte()
{
    permissionOption("BaseTask");
    const QString param = u"before"_s + QChar(0) + u"after"_s;
    const QVariantMap properties = build(withUser({{u"Params"_s, QStringList{param}}}));
    QCOMPARE(commandOf(properties), u" -- /bin/true -v before"_s);
}

void TestUnitProperties::returnsWhatTheSandboxRefuses()
{
    QTest::ignoreMessage(QtWarningMsg,
                         "Failed to build firejail argv: \"sleep is not an absolute path\"");
    QVariantMap properties;
    const Error error = TaskManagerPrivate::buildUnitProperties(
        properties, taskWithExec(u"sleep 5"_s), {}, withUser());
    QCOMPARE(error.message(), u"sleep is not an absolute path"_s);
    QCOMPARE(error.code(), qint32(Error::InvalidArgs));
    QVERIFY(!properties.contains(u"ExecStart"_s));
}

void TestUnitProperties::refusesACommandLineThatLeavesItsLine_data()
{
    QTest::addColumn<QString>("exec");
    QTest::addColumn<QString>("message");
    const QString control = u"Exec must not hold control characters"_s;
    const auto controlRow = [&control](const char *what, ushort character) {
        QTest::newRow(what) << u"/bin/true a"_s + QChar(character) + u"User=root"_s << control;
    };
    controlRow("line feed", '\n');
    controlRow("carriage return", '\r');
    controlRow("tab", '\t');
    controlRow("vertical tab", '\v');
    controlRow("zero", 0);
    controlRow("escape", 0x1b);
    controlRow("delete", 0x7f);
    controlRow("next line", 0x85);
    controlRow("last of the high control characters", 0x9f);
    controlRow("line separator", 0x2028);
    controlRow("paragraph separator", 0x2029);
    QTest::newRow("line feed at the end") << u"/bin/true\n"_s << control;
    QTest::newRow("only a line feed") << u"\n"_s << control;

    QTest::newRow("noncharacter") << u"/bin/true "_s + QString(QChar(0xfffe))
                                  << u"Exec must not hold noncharacters"_s;

    const QString backslash = u"Exec must not end with a backslash"_s;
    QTest::newRow("backslash at the end") << u"/bin/true a\\"_s << backslash;
    QTest::newRow("backslash as the last word") << u"/bin/true \\"_s << backslash;
    QTest::newRow("two backslashes") << u"/bin/true \\\\"_s << backslash;
    QTest::newRow("backslash before blanks") << u"/bin/true \\  "_s << backslash;

    const QString semicolon = u"Exec must not hold a separate semicolon"_s;
    QTest::newRow("semicolon between words") << u"/bin/true ; /bin/sh -c evil"_s << semicolon;
    QTest::newRow("semicolon as the last word") << u"/bin/true ;"_s << semicolon;
    QTest::newRow("semicolon as the first word") << u"; /bin/true"_s << semicolon;
    QTest::newRow("semicolon among blanks") << u"/bin/true  ;  x"_s << semicolon;
}

void TestUnitProperties::refusesACommandLineThatLeavesItsLine()
{
    QFETCH(QString, exec);
    QFETCH(QString, message);
    QVariantMap properties;
    const Error error =
        TaskManagerPrivate::buildUnitProperties(properties, taskWithExec(exec), {}, withUser());
    QCOMPARE(error.message(), message);
    QCOMPARE(error.code(), qint32(Error::InvalidArgs));
    QVERIFY(!properties.contains(u"ExecStart"_s));
}

void TestUnitProperties::refusesAnIdThatLeavesItsLine()
{
    TaskInfo task = typicalTask();
    task.taskId =
        ApplicationTaskId(ApplicationId(u"com.example"_s, u"Notes\nUser=root"_s), u"sync"_s);
    QVariantMap properties;
    const Error error = TaskManagerPrivate::buildUnitProperties(properties, task, {}, withUser());
    QCOMPARE(error.message(), u"Task id must not hold control characters"_s);
    QCOMPARE(error.code(), qint32(Error::InvalidArgs));
}

void TestUnitProperties::refusesAProgramThatASandboxWouldReadOtherwise_data()
{
    QTest::addColumn<QString>("program");
    for (const char *sign : {"\"", "'", "\\", "$", "%", ",", "*", "?", "[", "]", "{", "}"}) {
        const QString text = QString::fromLatin1(sign);
        QTest::addRow("%s in the name", sign)
            << QLatin1String("/opt/wor") + text + QLatin1String("ker");
        QTest::addRow("%s in the directory", sign)
            << QLatin1String("/o") + text + QLatin1String("pt/worker");
    }
    QTest::newRow("an open quote") << u"/opt/worker\""_s;
    QTest::newRow("a closed quote") << u"\"/opt/worker\""_s;
    QTest::newRow("the user's home") << u"${HOME}/worker"_s;
}

void TestUnitProperties::refusesAProgramThatASandboxWouldReadOtherwise()
{
    QFETCH(QString, program);
    for (const char *rest : {"", " -v", " --noprofile \" x"}) {
        const TaskInfo task = taskWithExec(program + QLatin1String(rest));
        QVariantMap properties;
        const Error error =
            TaskManagerPrivate::buildUnitProperties(properties, task, {}, withUser());
        QCOMPARE(error.message(),
                 u"Exec must not name a program with any of "
                 "\" ' \\ $ % , * ? [ ] { }"_s);
        QCOMPARE(error.code(), qint32(Error::InvalidArgs));
        QVERIFY(!properties.contains(u"ExecStart"_s));
    }
}

void TestUnitProperties::refusesAnIdThatIsNotTheApplicationsOwn_data()
{
    QTest::addColumn<QString>("organisation");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("message");
    const auto row = [](const char *organisation, const char *name, const QString &message) {
        QTest::addRow("%s and %s", organisation, name)
            << QString::fromUtf8(organisation) << QString::fromUtf8(name) << message;
    };
    const QString reserved = u"Application id must not be a name of the system"_s;
    row("org", "freedesktop", reserved);
    row("org.freedesktop", "login1", reserved);
    row("org.zarn", "Orvane", reserved);
    row("org.zarn.Orvane", "User", reserved);
    row("org", "zarn", reserved);
    row("org.zarn", "am", reserved);
    row("org.zarn", "Teller", reserved);
    row("org.sailfishos", "usermanager", reserved);
    row("org", "sailfishos", reserved);
    const QString empty = u"Application id must not have an empty component"_s;
    row("..", "x", empty);
    row(".", "x", empty);
    row(".com", "x", empty);
    row("com.", "x", empty);
    row("com..example", "x", empty);
    row("com", "x..y", empty);
    row("com", "x.", empty);
    const QString noId = u"Application id must be an organisation and a name"_s;
    row("com example", "x", noId);
    row("com", "a b", noId);
    row("com", "a\"b", noId);
    row("com", "a/b", noId);
    row("com", "${HOME}", noId);
    row("com", "%n", noId);
    row("com", "ü", noId);
}

void TestUnitProperties::refusesAnIdThatIsNotTheApplicationsOwn()
{
    QFETCH(QString, organisation);
    QFETCH(QString, name);
    QFETCH(QString, message);
    TaskInfo task = typicalTask();
    task.taskId = ApplicationTaskId(ApplicationId(organisation, name), u"sync"_s);
    QVariantMap properties;
    const Error error = TaskManagerPrivate::buildUnitProperties(properties, task, {}, withUser());
    QCOMPARE(error.message(), message);
    QCOMPARE(error.code(), qint32(Error::InvalidArgs));
    QVERIFY(!properties.contains(u"ExecStart"_s));
}

void TestUnitProperties::refusesHintsThatLeaveTheirLine_data()
{
    QTest::addColumn<QVariantMap>("hints");
    QTest::addColumn<QString>("message");
    const auto hint = [](const char *what, const char *key, const QVariant &value,
                         const char *message) {
        QTest::addRow("%s: %s", key, what)
            << QVariantMap{{QString::fromLatin1(key), value}} << QString::fromUtf8(message);
    };
    const auto list = [](const QString &word) {
        return QStringList{u"before"_s, word, u"behind"_s};
    };
    const auto groups = [](const QString &key, const QVariant &value) {
        return QVariantMap{{key, value}};
    };
    const QString lineBreak = u"a\nUser=root"_s;
    const QString noncharacter = QLatin1Char('a') + QString(QChar(0xfffe));
    const QString backslash = u"a\\"_s;

    hint("a blank", "User", u"root "_s, "User must be a plain user name");
    hint("number 0", "User", u"0"_s, "User must be a plain user name");
    hint("the number 0", "User", 0, "User must be a plain user name");
    hint("a specifier", "User", u"%u"_s, "User must be a plain user name");
    hint("a line break", "User", lineBreak, "User must be a plain user name");
    hint("a noncharacter", "User", noncharacter, "User must be a plain user name");

    hint("a line break", "Params", list(lineBreak), "Params must not hold control characters");
    hint("a noncharacter", "Params", list(noncharacter), "Params must not hold noncharacters");
    hint("a backslash that joins words", "Params", list(backslash),
         "Params must not end with a backslash");
    hint("a backslash that joins lines", "Params", QStringList(backslash),
         "Params must not end with a backslash");
    hint("a backslash before blanks", "Params", QStringList(backslash + u"  "_s),
         "Params must not end with a backslash");
    hint("a semicolon", "Params", list(u";"_s), "Params must not hold a separate semicolon");
    hint("a semicolon between words", "Params", list(u"a ; /bin/sh"_s),
         "Params must not hold a separate semicolon");

    hint("a path", "Permissions", list(u"../../../home/user/own"_s),
         "Permissions must not hold a slash");
    hint("a line break", "Permissions", list(lineBreak),
         "Permissions must not hold control characters");
    hint("a noncharacter", "Permissions", list(noncharacter),
         "Permissions must not hold noncharacters");

    const char *key = "CGroups keys must be ASCII letters and digits";
    hint("a key with a blank", "CGroups", groups(u"User "_s, u"root"_s), key);
    hint("a key with a line break", "CGroups", groups(u"A=b\nC"_s, 1), key);
    hint("a key that begins another section", "CGroups", groups(u"[Unit]\nA"_s, 1), key);
    hint("an empty key", "CGroups", groups(QString(), 1), key);
    hint("a key beyond ASCII", "CGroups", groups(u"Ü"_s, 1), key);
    hint("a comment", "CGroups", groups(u"#A"_s, 1), key);
    hint("a line break", "CGroups", groups(u"Slice"_s, lineBreak),
         "Slice must not hold control characters");
    hint("a noncharacter", "CGroups", groups(u"Slice"_s, noncharacter),
         "Slice must not hold noncharacters");
    hint("a backslash", "CGroups", groups(u"Slice"_s, backslash),
         "Slice must not end with a backslash");
    hint("a backslash in a list", "CGroups", groups(u"Slice"_s, list(backslash)),
         "Slice must not end with a backslash");
    hint("a value that is replaced", "CGroups", groups(u"ExecStart"_s, lineBreak),
         "ExecStart must not hold control characters");

    hint("no name", "DBusService", QString(), "DBusService must be a well-known bus name");
    hint("a unique name", "DBusService", u":1.7"_s, "DBusService must be a well-known bus name");
    hint("a placeholder", "DBusService", u"com.%1"_s, "DBusService must be a well-known bus name");
    hint("a control character", "DBusService", u"com.a\x01"_s,
         "DBusService must be a well-known bus name");
    hint("the daemon's", "DBusService", u"org.zarn.Orvane"_s,
         "DBusService must not be a name of the system");
    hint("below the system's", "DBusService", u"org.freedesktop.systemd1"_s,
         "DBusService must not be a name of the system");
    hint("above the daemon's", "DBusService", u"org.zarn"_s,
         "DBusService must not be a name of the system");
}

void TestUnitProperties::refusesHintsThatLeaveTheirLine()
{
    QFETCH(QVariantMap, hints);
    QFETCH(QString, message);
    const QVariantMap settings = hints.contains(u"User"_s) ? hints : withUser(hints);
    QVariantMap properties;
    const Error error =
        TaskManagerPrivate::buildUnitProperties(properties, typicalTask(), {}, settings);
    QCOMPARE(error.message(), message);
    QCOMPARE(error.code(), qint32(Error::InvalidArgs));
    QVERIFY(!properties.contains(u"ExecStart"_s) || message.startsWith(QLatin1String("ExecStart")));
}

void TestUnitProperties::refusesAnEnvironmentThatLeavesItsLine_data()
{
    QTest::addColumn<QString>("entry");
    QTest::addColumn<QString>("message");
    QTest::newRow("a line break") << u"A=1\nExecStartPre=+/bin/sh"_s
                                  << u"Environment must not hold control characters"_s;
    QTest::newRow("a noncharacter")
        << u"A="_s + QString(QChar(0xffff)) << u"Environment must not hold noncharacters"_s;
    QTest::newRow("half a surrogate pair")
        << u"A="_s + QString(QChar(0xd800)) << u"Environment must not hold noncharacters"_s;
    QTest::newRow("a backslash that joins words")
        << u"A=\\"_s << u"Environment must not end with a backslash"_s;
}

void TestUnitProperties::refusesAnEnvironmentThatLeavesItsLine()
{
    QFETCH(QString, entry);
    QFETCH(QString, message);
    const QVariantMap properties =
        build(withUser(), typicalTask(), {{u"Environment"_s, QStringList{entry, u"B=2"_s}}});
    QCOMPARE(properties, (QVariantMap{{u"error"_s, message}}));
}

void TestUnitProperties::refusesHintsFromTheWire()
{
    const QVariantMap groups{{u"User "_s, u"root"_s}};
    const QVariantMap keyWithBlank = Wire().carry(withUser({{u"CGroups"_s, groups}}));
    QCOMPARE(build(keyWithBlank).value(u"error"_s).toString(),
             u"CGroups keys must be ASCII letters and digits"_s);

    const QVariantList words{u"one"_s, u";"_s};
    const QVariantMap semicolon = Wire().carry(withUser({{u"Params"_s, words}}));
    QCOMPARE(build(semicolon).value(u"error"_s).toString(),
             u"Params must not hold a separate semicolon"_s);
}

void TestUnitProperties::keepsOddTextInHints_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("quotes") << u"A=\"a b\" 'c"_s;
    QTest::newRow("specifiers") << u"A=%n %% %h"_s;
    QTest::newRow("variables") << u"A=$B ${C} $$"_s;
    QTest::newRow("beyond ASCII") << u"A=ü €"_s + QString::fromUtf8("\xf0\x9f\x98\x80");
    QTest::newRow("backslashes") << u"A=a\\b \\; \\\\x"_s;
    QTest::newRow("semicolons at words") << u"A=a; ;b"_s;
    QTest::newRow("signs") << u"A=# [x] @ | > < & * ? ,"_s;
    QTest::newRow("blanks around") << u"  A=1  "_s;
    QTest::newRow("nothing") << QString();
}

void TestUnitProperties::keepsOddTextInHints()
{
    QFETCH(QString, text);
    permissionOption("BaseTask");
    const QVariantMap groups{{u"Slice"_s, text}};
    const QVariantMap properties =
        build(withUser({{u"Params"_s, QStringList{text}}, {u"CGroups"_s, groups}}), typicalTask(),
              {{u"Environment"_s, QStringList{text}}});
    QCOMPARE(commandOf(properties), u" -- /bin/true -v "_s + text);
    QCOMPARE(properties.value(u"Slice"_s).toString(), text);
    QCOMPARE(properties.value(u"Environment"_s).toStringList(),
             QStringList{text} + ownEnvironment());
}

void TestUnitProperties::writesAByteAsANumber()
{
    permissionOption("BaseTask");
    const QVariantMap groups{{u"CPUWeight"_s, QVariant::fromValue(uchar(65))}};
    const QVariantMap properties = build(Wire().carry(withUser({{u"CGroups"_s, groups}})));
    QVERIFY(unitOf(properties).contains("\nCPUWeight=65\n"));
}

void TestUnitProperties::complainsOfHintsBeforeTheSandboxDoes()
{
    const QVariantMap settings = withUser({{u"Params"_s, QStringList{u";"_s}}});
    QCOMPARE(build(settings, taskWithExec(u"sleep 5"_s)).value(u"error"_s).toString(),
             u"Params must not hold a separate semicolon"_s);
}

void TestUnitProperties::complainsOfTheUserBeforeTheCommandLine()
{
    const TaskInfo task = taskWithExec(u"/bin/true\n"_s);
    const QString key = u"error"_s;
    QCOMPARE(build({}, task).value(key).toString(), u"Missing required User key"_s);
    QCOMPARE(build({{u"User"_s, u"root"_s}}, task).value(key).toString(), u"User cannot be root"_s);
}

void TestUnitProperties::acceptsHarmlessSigns_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::newRow("backslash inside") << u"a\\b \\ c"_s;
    QTest::newRow("semicolon at a word") << u"a; ;b a;b ;;"_s;
    QTest::newRow("signs of a shell") << u"$A %i | > 'x' \"y\" # ="_s;
    QTest::newRow("beyond ASCII") << u"ü €"_s;
}

void TestUnitProperties::acceptsHarmlessSigns()
{
    QFETCH(QString, arguments);
    permissionOption("BaseTask");
    const QVariantMap properties = build(withUser(), taskWithExec(u"/bin/true "_s + arguments));
    QCOMPARE(commandOf(properties), u" -- /bin/true "_s + arguments);
}

void TestUnitProperties::acceptsHintsFromTheWire()
{
    QTest::ignoreMessage(QtWarningMsg, "Unknown permission \"no-such\"");
    permissionOption("BaseTask");
    const QVariantList words{u"one"_s, u"two"_s};
    const QVariantMap hints =
        Wire().carry(withUser({{u"Params"_s, words},
                               {u"Environment"_s, QStringList{u"A=1"_s}},
                               {u"Permissions"_s, QVariantList{u"no-such"_s}}}));
    QCOMPARE(hints.value(u"Params"_s).userType(), qMetaTypeId<QDBusArgument>());
    const QVariantMap properties = build(hints, typicalTask(), hints);
    QCOMPARE(commandOf(properties), u" -- /bin/true -v one two"_s);
    QCOMPARE(properties.value(u"Environment"_s).toStringList(),
             QStringList{u"A=1"_s} + ownEnvironment());
}

void TestUnitProperties::acceptsControlGroupSettingsFromTheWire()
{
    permissionOption("BaseTask");
    const QVariantMap groups{{u"MemoryMax"_s, u"64M"_s}, {u"Nice"_s, -5}};
    const QVariantMap hints = Wire().carry(withUser({{u"CGroups"_s, groups}}));
    QCOMPARE(hints.value(u"CGroups"_s).userType(), qMetaTypeId<QDBusArgument>());
    const QVariantMap properties = build(hints);
    QCOMPARE(properties.value(u"MemoryMax"_s), QVariant(u"64M"_s));
    QCOMPARE(properties.value(u"Nice"_s), QVariant(-5));
}

QTEST_GUILESS_MAIN(TestUnitProperties)
#include "tst_unit_properties.moc"

#include "plan/unit_text.h"
#include "service/Core/firejail_p.h"
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
    task.taskId =
        ApplicationTaskId(ApplicationId(QStringLiteral("com.example"), QStringLiteral("Notes")),
                          QStringLiteral("sync"));
    task.exec = exec;
    return task;
}

TaskInfo typicalTask() { return taskWithExec(QStringLiteral("/bin/true -v")); }

QVariantMap withUser(QVariantMap settings = {})
{
    settings.insert(QStringLiteral("User"), QStringLiteral("nobody"));
    return settings;
}

// The option that a permission gives on this machine. If the machine does not have the permission,
// a log line is expected.
QString permissionOption(const char *name)
{
    const QString path = Core::permissionPath(QLatin1String(name),
                                              {QStringLiteral("/etc/sailjail/permissions/"),
                                               QStringLiteral("/var/lib/sailjail/permissions/")});
    if (!path.isEmpty())
        return QStringLiteral(" --profile=") + path;
    const QByteArray warning = QByteArray("Unknown permission \"") + name + "\"";
    QTest::ignoreMessage(QtWarningMsg, warning.constData());
    return {};
}

QString sandboxOfTheTask()
{
    return QStringLiteral("/usr/bin/firejail --quiet --private-bin=true "
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
                          "--blacklist=/usr/share/common/empty");
}

QString sandboxOfTheHomelessTask()
{
    return QStringLiteral("/usr/bin/firejail --quiet --private-bin=true "
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
                          "--blacklist=/usr/share/common/empty");
}

QStringList ownEnvironment()
{
    return {QStringLiteral("HALCYN_APP_ID=com.example.Notes"),
            QStringLiteral("HALCYN_PACKAGE_NAME=com.example.Notes"),
            QStringLiteral("HALCYN_TASK_ID=sync"), QStringLiteral("QT_QPA_PLATFORM=minimal")};
}

QVariantMap build(const QVariantMap &settings, const TaskInfo &task = typicalTask(),
                  const QVariantMap &startParameters = {})
{
    QVariantMap properties;
    const Error error =
        TaskManagerPrivate::buildUnitProperties(properties, task, startParameters, settings);
    if (error)
        properties = {{QStringLiteral("error"), error.message()}};
    return properties;
}

QByteArray unitOf(const QVariantMap &properties, const QString &taskId = QStringLiteral("a"))
{
    return Core::unitText(taskId, Core::unitValuesOf(properties));
}

QString commandOf(const QVariantMap &properties)
{
    const QString line = properties.value(QStringLiteral("ExecStart")).toString();
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
        , m_to(m_bus.connect(QStringLiteral("to")))
        , m_from(m_bus.connect(QStringLiteral("from")))
    {
        m_to.registerObject(QStringLiteral("/"), &m_receiver, QDBusConnection::ExportAllSlots);
    }
    ~Wire()
    {
        QDBusConnection::disconnectFromBus(QStringLiteral("from"));
        QDBusConnection::disconnectFromBus(QStringLiteral("to"));
    }
    Q_DISABLE_COPY(Wire)

    QVariantMap carry(const QVariantMap &map)
    {
        QDBusMessage message = QDBusMessage::createMethodCall(
            m_to.baseService(), QStringLiteral("/"), QStringLiteral("org.example.Receiver"),
            QStringLiteral("take"));
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
        {QStringLiteral("Environment"), ownEnvironment()},
        {QStringLiteral("ExecStart"),
         sandboxOfTheTask() + permission + QStringLiteral(" -- /bin/true -v")},
        {QStringLiteral("User"), QStringLiteral("nobody")},
        {QStringLiteral("WantedBy"), QStringLiteral("multi-user.target")}};
    QCOMPARE(build(withUser()), expected);
}

void TestUnitProperties::writesATypicalUnitByteForByte()
{
    const QString permission = permissionOption("BaseTask");
    const QVariantMap groups{{QStringLiteral("MemoryMax"), QStringLiteral("64M")}};
    const QVariantMap properties = build(withUser({{QStringLiteral("CGroups"), groups},
                                                   {QStringLiteral("Weight"), 500},
                                                   {QStringLiteral("CPULimit"), 30}}));
    const QString expected = QStringLiteral("[Unit]\n"
                                            "Description=Background task for "
                                            "com.example.Notes.task_sync\n"
                                            "After=sailjail-prepare-binds.service\n"
                                            "\n"
                                            "[Service]\n"
                                            "Environment=HALCYN_APP_ID=com.example.Notes "
                                            "HALCYN_PACKAGE_NAME=com.example.Notes "
                                            "HALCYN_TASK_ID=sync QT_QPA_PLATFORM=minimal\n"
                                            "ExecStart=")
        + sandboxOfTheTask() + permission
        + QStringLiteral(" -- /bin/true -v\n"
                         "LimitCPU=30\n"
                         "MemoryMax=64M\n"
                         "OOMScoreAdjust=500\n"
                         "User=nobody\n"
                         "\n"
                         "[Install]\n"
                         "WantedBy=multi-user.target\n");
    QCOMPARE(QString::fromUtf8(unitOf(properties, QStringLiteral("com.example.Notes.task_sync"))),
             expected);
}

void TestUnitProperties::describesAHomelessTask()
{
    const QString permission = permissionOption("HomelessTask");
    const QVariantMap properties = build(withUser({{QStringLiteral("Homeless"), true}}));
    QCOMPARE(properties.value(QStringLiteral("ExecStart")).toString(),
             sandboxOfTheHomelessTask() + permission + QStringLiteral(" -- /bin/true -v"));
}

void TestUnitProperties::keepsWhatPropertiesHeldBefore()
{
    permissionOption("BaseTask");
    QVariantMap properties{{QStringLiteral("Nice"), 5},
                           {QStringLiteral("User"), QStringLiteral("before")}};
    QCOMPARE(TaskManagerPrivate::buildUnitProperties(properties, typicalTask(), {}, withUser())
                 .message(),
             QString());
    QCOMPARE(properties.value(QStringLiteral("Nice")), QVariant(5));
    QCOMPARE(properties.value(QStringLiteral("User")), QVariant(QStringLiteral("nobody")));
}

void TestUnitProperties::takesControlGroupSettingsUnchanged()
{
    permissionOption("BaseTask");
    const QVariantMap groups{{QStringLiteral("MemoryMax"), QStringLiteral("64M")},
                             {QStringLiteral("TasksMax"), 12},
                             {QStringLiteral("Nice"), -5}};
    const QVariantMap properties = build(withUser({{QStringLiteral("CGroups"), groups}}));
    for (auto it = groups.cbegin(); it != groups.cend(); ++it)
        QCOMPARE(properties.value(it.key()), it.value());
    QCOMPARE(properties.size(), 7);
}

void TestUnitProperties::letsControlGroupSettingsReplaceTheTarget()
{
    permissionOption("BaseTask");
    const QString target = QStringLiteral("graphical.target");
    const QVariantMap groups{{QStringLiteral("WantedBy"), target}};
    const QVariantMap properties = build(withUser({{QStringLiteral("CGroups"), groups}}));
    QCOMPARE(properties.value(QStringLiteral("WantedBy")), QVariant(target));
    QVERIFY(unitOf(properties).endsWith("\n\n[Install]\nWantedBy=graphical.target\n"));
}

void TestUnitProperties::replacesControlGroupSettingsWithItsOwn()
{
    permissionOption("BaseTask");
    const QVariantMap groups{{QStringLiteral("User"), QStringLiteral("root")},
                             {QStringLiteral("ExecStart"), QStringLiteral("/bin/sh")},
                             {QStringLiteral("Environment"), QStringLiteral("A=1")},
                             {QStringLiteral("OOMScoreAdjust"), 1},
                             {QStringLiteral("LimitCPU"), 2}};
    const QVariantMap properties =
        build(withUser({{QStringLiteral("CGroups"), groups}, {QStringLiteral("Weight"), 7}}));
    QCOMPARE(properties.value(QStringLiteral("User")), QVariant(QStringLiteral("nobody")));
    QVERIFY(properties.value(QStringLiteral("ExecStart"))
                .toString()
                .startsWith(QLatin1String("/usr/bin/firejail ")));
    QCOMPARE(properties.value(QStringLiteral("Environment")), QVariant(ownEnvironment()));
    QCOMPARE(properties.value(QStringLiteral("OOMScoreAdjust")), QVariant(7));
    // Without a limit of its own, the value that was set is kept.
    QCOMPARE(properties.value(QStringLiteral("LimitCPU")), QVariant(2));
}

void TestUnitProperties::ignoresControlGroupSettingsThatAreNoMap()
{
    permissionOption("BaseTask");
    const QVariantMap properties =
        build(withUser({{QStringLiteral("CGroups"), QStringLiteral("MemoryMax=64M")}}));
    QCOMPARE(QStringList(properties.keys()),
             (QStringList{QStringLiteral("Environment"), QStringLiteral("ExecStart"),
                          QStringLiteral("User"), QStringLiteral("WantedBy")}));
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
    } numbers[] = {{QStringLiteral("Weight"), QStringLiteral("OOMScoreAdjust")},
                   {QStringLiteral("CPULimit"), QStringLiteral("LimitCPU")}};
    for (const auto &number : numbers) {
        const auto row = [&number](const char *what, const QVariant &value,
                                   const QVariant &expected) {
            QTest::addRow("%s: %s", qPrintable(number.setting), what)
                << number.setting << value << number.key << expected;
        };
        row("positive", 250, 250);
        row("negative", -250, -250);
        row("zero", 0, QVariant());
        row("a number in text", QStringLiteral("42"), 42);
        row("other text", QStringLiteral("much"), QVariant());
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
    const QString key = QStringLiteral("User");
    const QString missing = QStringLiteral("Missing required User key");
    QTest::newRow("missing") << QVariantMap() << missing;
    QTest::newRow("empty") << QVariantMap{{key, QString()}} << missing;
    QTest::newRow("no text") << QVariantMap{{key, QVariantMap()}} << missing;
    QTest::newRow("root") << QVariantMap{{key, QStringLiteral("root")}}
                          << QStringLiteral("User cannot be root");
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
    QVERIFY(!properties.contains(QStringLiteral("ExecStart")));
}

void TestUnitProperties::acceptsEveryOtherUser_data()
{
    QTest::addColumn<QString>("user");
    QTest::newRow("root with a capital") << QStringLiteral("Root");
    QTest::newRow("an ordinary one") << QStringLiteral("defaultuser");
    QTest::newRow("a number") << QStringLiteral("100000");
}

void TestUnitProperties::acceptsEveryOtherUser()
{
    QFETCH(QString, user);
    permissionOption("BaseTask");
    QCOMPARE(build({{QStringLiteral("User"), user}}).value(QStringLiteral("User")), QVariant(user));
}

void TestUnitProperties::putsTheCallersEnvironmentFirst()
{
    permissionOption("BaseTask");
    const QStringList given{QStringLiteral("A=1"), QStringLiteral("B=two words")};
    const QVariantMap properties =
        build(withUser(), typicalTask(), {{QStringLiteral("Environment"), given}});
    QCOMPARE(properties.value(QStringLiteral("Environment")), QVariant(given + ownEnvironment()));
}

void TestUnitProperties::asksForPermissionsInOrder()
{
    // The order shows in the warnings about unknown names.
    QTest::ignoreMessage(QtWarningMsg, "Unknown permission \"no-such-b\"");
    QTest::ignoreMessage(QtWarningMsg, "Unknown permission \"no-such-a\"");
    const QString last = permissionOption("BaseTask");
    const QStringList asked{QStringLiteral("no-such-b"), QStringLiteral("no-such-a")};
    const QVariantMap properties = build(withUser({{QStringLiteral("Permissions"), asked}}));
    QCOMPARE(properties.value(QStringLiteral("ExecStart")).toString(),
             sandboxOfTheTask() + last + QStringLiteral(" -- /bin/true -v"));
}

void TestUnitProperties::asksForTheHomelessPermissionLast()
{
    QTest::ignoreMessage(QtWarningMsg, "Unknown permission \"no-such\"");
    const QString last = permissionOption("HomelessTask");
    const QVariantMap properties =
        build(withUser({{QStringLiteral("Permissions"), QStringList{QStringLiteral("no-such")}},
                        {QStringLiteral("Homeless"), true}}));
    QCOMPARE(properties.value(QStringLiteral("ExecStart")).toString(),
             sandboxOfTheHomelessTask() + last + QStringLiteral(" -- /bin/true -v"));
}

void TestUnitProperties::splitsTheCommandLineAtEveryBlank()
{
    permissionOption("BaseTask");
    // Between two blanks is an empty argument, so both blanks are kept when the words are joined.
    const QVariantMap properties =
        build(withUser(), taskWithExec(QStringLiteral("/bin/true  \"a b\" ")));
    QCOMPARE(commandOf(properties), QStringLiteral(" -- /bin/true  \"a b\" "));

    // The first word is always the program.
    QTest::ignoreMessage(QtWarningMsg,
                         "Failed to build firejail argv: \" is not an absolute path\"");
    QCOMPARE(build(withUser(), taskWithExec(QStringLiteral(" /bin/true"))),
             (QVariantMap{{QStringLiteral("error"), QStringLiteral(" is not an absolute path")}}));
}

void TestUnitProperties::appendsParameters()
{
    permissionOption("BaseTask");
    const QStringList params{QStringLiteral("--fast"), QStringLiteral("two words"), QString(),
                             QStringLiteral("ü")};
    const QVariantMap properties = build(withUser({{QStringLiteral("Params"), params}}));
    QCOMPARE(commandOf(properties), QStringLiteral(" -- /bin/true -v --fast two words  ü"));
}

void TestUnitProperties::endsTheCommandLineAtAZeroByte()
{
    permissionOption("BaseTask");
    const QString param = QStringLiteral("before") + QChar(0) + QStringLiteral("after");
    const QVariantMap properties =
        build(withUser({{QStringLiteral("Params"), QStringList{param}}}));
    QCOMPARE(commandOf(properties), QStringLiteral(" -- /bin/true -v before"));
}

void TestUnitProperties::returnsWhatTheSandboxRefuses()
{
    QTest::ignoreMessage(QtWarningMsg,
                         "Failed to build firejail argv: \"sleep is not an absolute path\"");
    QVariantMap properties;
    const Error error = TaskManagerPrivate::buildUnitProperties(
        properties, taskWithExec(QStringLiteral("sleep 5")), {}, withUser());
    QCOMPARE(error.message(), QStringLiteral("sleep is not an absolute path"));
    QCOMPARE(error.code(), qint32(Error::InvalidArgs));
    QVERIFY(!properties.contains(QStringLiteral("ExecStart")));
}

void TestUnitProperties::refusesACommandLineThatLeavesItsLine_data()
{
    QTest::addColumn<QString>("exec");
    QTest::addColumn<QString>("message");
    const QString control = QStringLiteral("Exec must not hold control characters");
    const auto controlRow = [&control](const char *what, ushort character) {
        QTest::newRow(what) << QStringLiteral("/bin/true a") + QChar(character)
                + QStringLiteral("User=root")
                            << control;
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
    QTest::newRow("line feed at the end") << QStringLiteral("/bin/true\n") << control;
    QTest::newRow("only a line feed") << QStringLiteral("\n") << control;

    QTest::newRow("noncharacter") << QStringLiteral("/bin/true ") + QString(QChar(0xfffe))
                                  << QStringLiteral("Exec must not hold noncharacters");

    const QString backslash = QStringLiteral("Exec must not end with a backslash");
    QTest::newRow("backslash at the end") << QStringLiteral("/bin/true a\\") << backslash;
    QTest::newRow("backslash as the last word") << QStringLiteral("/bin/true \\") << backslash;
    QTest::newRow("two backslashes") << QStringLiteral("/bin/true \\\\") << backslash;
    QTest::newRow("backslash before blanks") << QStringLiteral("/bin/true \\  ") << backslash;

    const QString semicolon = QStringLiteral("Exec must not hold a separate semicolon");
    QTest::newRow("semicolon between words")
        << QStringLiteral("/bin/true ; /bin/sh -c evil") << semicolon;
    QTest::newRow("semicolon as the last word") << QStringLiteral("/bin/true ;") << semicolon;
    QTest::newRow("semicolon as the first word") << QStringLiteral("; /bin/true") << semicolon;
    QTest::newRow("semicolon among blanks") << QStringLiteral("/bin/true  ;  x") << semicolon;
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
    QVERIFY(!properties.contains(QStringLiteral("ExecStart")));
}

void TestUnitProperties::refusesAnIdThatLeavesItsLine()
{
    TaskInfo task = typicalTask();
    task.taskId = ApplicationTaskId(
        ApplicationId(QStringLiteral("com.example"), QStringLiteral("Notes\nUser=root")),
        QStringLiteral("sync"));
    QVariantMap properties;
    const Error error = TaskManagerPrivate::buildUnitProperties(properties, task, {}, withUser());
    QCOMPARE(error.message(), QStringLiteral("Task id must not hold control characters"));
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
    QTest::newRow("an open quote") << QStringLiteral("/opt/worker\"");
    QTest::newRow("a closed quote") << QStringLiteral("\"/opt/worker\"");
    QTest::newRow("the user's home") << QStringLiteral("${HOME}/worker");
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
                 QStringLiteral("Exec must not name a program with any of "
                                "\" ' \\ $ % , * ? [ ] { }"));
        QCOMPARE(error.code(), qint32(Error::InvalidArgs));
        QVERIFY(!properties.contains(QStringLiteral("ExecStart")));
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
    const QString reserved = QStringLiteral("Application id must not be a name of the system");
    row("org", "freedesktop", reserved);
    row("org.freedesktop", "login1", reserved);
    row("org.zarn", "Orvane", reserved);
    row("org.zarn.Orvane", "User", reserved);
    row("org", "zarn", reserved);
    row("org.zarn", "am", reserved);
    row("org.zarn", "Teller", reserved);
    row("org.sailfishos", "usermanager", reserved);
    row("org", "sailfishos", reserved);
    const QString empty = QStringLiteral("Application id must not have an empty component");
    row("..", "x", empty);
    row(".", "x", empty);
    row(".com", "x", empty);
    row("com.", "x", empty);
    row("com..example", "x", empty);
    row("com", "x..y", empty);
    row("com", "x.", empty);
    const QString noId = QStringLiteral("Application id must be an organisation and a name");
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
    task.taskId = ApplicationTaskId(ApplicationId(organisation, name), QStringLiteral("sync"));
    QVariantMap properties;
    const Error error = TaskManagerPrivate::buildUnitProperties(properties, task, {}, withUser());
    QCOMPARE(error.message(), message);
    QCOMPARE(error.code(), qint32(Error::InvalidArgs));
    QVERIFY(!properties.contains(QStringLiteral("ExecStart")));
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
        return QStringList{QStringLiteral("before"), word, QStringLiteral("behind")};
    };
    const auto groups = [](const QString &key, const QVariant &value) {
        return QVariantMap{{key, value}};
    };
    const QString lineBreak = QStringLiteral("a\nUser=root");
    const QString noncharacter = QLatin1Char('a') + QString(QChar(0xfffe));
    const QString backslash = QStringLiteral("a\\");

    hint("a blank", "User", QStringLiteral("root "), "User must be a plain user name");
    hint("number 0", "User", QStringLiteral("0"), "User must be a plain user name");
    hint("the number 0", "User", 0, "User must be a plain user name");
    hint("a specifier", "User", QStringLiteral("%u"), "User must be a plain user name");
    hint("a line break", "User", lineBreak, "User must be a plain user name");
    hint("a noncharacter", "User", noncharacter, "User must be a plain user name");

    hint("a line break", "Params", list(lineBreak), "Params must not hold control characters");
    hint("a noncharacter", "Params", list(noncharacter), "Params must not hold noncharacters");
    hint("a backslash that joins words", "Params", list(backslash),
         "Params must not end with a backslash");
    hint("a backslash that joins lines", "Params", QStringList(backslash),
         "Params must not end with a backslash");
    hint("a backslash before blanks", "Params", QStringList(backslash + QStringLiteral("  ")),
         "Params must not end with a backslash");
    hint("a semicolon", "Params", list(QStringLiteral(";")),
         "Params must not hold a separate semicolon");
    hint("a semicolon between words", "Params", list(QStringLiteral("a ; /bin/sh")),
         "Params must not hold a separate semicolon");

    hint("a path", "Permissions", list(QStringLiteral("../../../home/user/own")),
         "Permissions must not hold a slash");
    hint("a line break", "Permissions", list(lineBreak),
         "Permissions must not hold control characters");
    hint("a noncharacter", "Permissions", list(noncharacter),
         "Permissions must not hold noncharacters");

    const char *key = "CGroups keys must be ASCII letters and digits";
    hint("a key with a blank", "CGroups", groups(QStringLiteral("User "), QStringLiteral("root")),
         key);
    hint("a key with a line break", "CGroups", groups(QStringLiteral("A=b\nC"), 1), key);
    hint("a key that begins another section", "CGroups", groups(QStringLiteral("[Unit]\nA"), 1),
         key);
    hint("an empty key", "CGroups", groups(QString(), 1), key);
    hint("a key beyond ASCII", "CGroups", groups(QStringLiteral("Ü"), 1), key);
    hint("a comment", "CGroups", groups(QStringLiteral("#A"), 1), key);
    hint("a line break", "CGroups", groups(QStringLiteral("Slice"), lineBreak),
         "Slice must not hold control characters");
    hint("a noncharacter", "CGroups", groups(QStringLiteral("Slice"), noncharacter),
         "Slice must not hold noncharacters");
    hint("a backslash", "CGroups", groups(QStringLiteral("Slice"), backslash),
         "Slice must not end with a backslash");
    hint("a backslash in a list", "CGroups", groups(QStringLiteral("Slice"), list(backslash)),
         "Slice must not end with a backslash");
    hint("a value that is replaced", "CGroups", groups(QStringLiteral("ExecStart"), lineBreak),
         "ExecStart must not hold control characters");

    hint("no name", "DBusService", QString(), "DBusService must be a well-known bus name");
    hint("a unique name", "DBusService", QStringLiteral(":1.7"),
         "DBusService must be a well-known bus name");
    hint("a placeholder", "DBusService", QStringLiteral("com.%1"),
         "DBusService must be a well-known bus name");
    hint("a control character", "DBusService", QStringLiteral("com.a\x01"),
         "DBusService must be a well-known bus name");
    hint("the daemon's", "DBusService", QStringLiteral("org.zarn.Orvane"),
         "DBusService must not be a name of the system");
    hint("below the system's", "DBusService", QStringLiteral("org.freedesktop.systemd1"),
         "DBusService must not be a name of the system");
    hint("above the daemon's", "DBusService", QStringLiteral("org.zarn"),
         "DBusService must not be a name of the system");
}

void TestUnitProperties::refusesHintsThatLeaveTheirLine()
{
    QFETCH(QVariantMap, hints);
    QFETCH(QString, message);
    const QVariantMap settings = hints.contains(QStringLiteral("User")) ? hints : withUser(hints);
    QVariantMap properties;
    const Error error =
        TaskManagerPrivate::buildUnitProperties(properties, typicalTask(), {}, settings);
    QCOMPARE(error.message(), message);
    QCOMPARE(error.code(), qint32(Error::InvalidArgs));
    QVERIFY(!properties.contains(QStringLiteral("ExecStart"))
            || message.startsWith(QLatin1String("ExecStart")));
}

void TestUnitProperties::refusesAnEnvironmentThatLeavesItsLine_data()
{
    QTest::addColumn<QString>("entry");
    QTest::addColumn<QString>("message");
    QTest::newRow("a line break") << QStringLiteral("A=1\nExecStartPre=+/bin/sh")
                                  << QStringLiteral("Environment must not hold control characters");
    QTest::newRow("a noncharacter") << QStringLiteral("A=") + QString(QChar(0xffff))
                                    << QStringLiteral("Environment must not hold noncharacters");
    QTest::newRow("half a surrogate pair") << QStringLiteral("A=")
            + QString(QChar(0xd800)) << QStringLiteral("Environment must not hold noncharacters");
    QTest::newRow("a backslash that joins words")
        << QStringLiteral("A=\\") << QStringLiteral("Environment must not end with a backslash");
}

void TestUnitProperties::refusesAnEnvironmentThatLeavesItsLine()
{
    QFETCH(QString, entry);
    QFETCH(QString, message);
    const QVariantMap properties =
        build(withUser(), typicalTask(),
              {{QStringLiteral("Environment"), QStringList{entry, QStringLiteral("B=2")}}});
    QCOMPARE(properties, (QVariantMap{{QStringLiteral("error"), message}}));
}

void TestUnitProperties::refusesHintsFromTheWire()
{
    const QVariantMap groups{{QStringLiteral("User "), QStringLiteral("root")}};
    const QVariantMap keyWithBlank = Wire().carry(withUser({{QStringLiteral("CGroups"), groups}}));
    QCOMPARE(build(keyWithBlank).value(QStringLiteral("error")).toString(),
             QStringLiteral("CGroups keys must be ASCII letters and digits"));

    const QVariantList words{QStringLiteral("one"), QStringLiteral(";")};
    const QVariantMap semicolon = Wire().carry(withUser({{QStringLiteral("Params"), words}}));
    QCOMPARE(build(semicolon).value(QStringLiteral("error")).toString(),
             QStringLiteral("Params must not hold a separate semicolon"));
}

void TestUnitProperties::keepsOddTextInHints_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("quotes") << QStringLiteral("A=\"a b\" 'c");
    QTest::newRow("specifiers") << QStringLiteral("A=%n %% %h");
    QTest::newRow("variables") << QStringLiteral("A=$B ${C} $$");
    QTest::newRow("beyond ASCII") << QStringLiteral("A=ü €")
            + QString::fromUtf8("\xf0\x9f\x98\x80");
    QTest::newRow("backslashes") << QStringLiteral("A=a\\b \\; \\\\x");
    QTest::newRow("semicolons at words") << QStringLiteral("A=a; ;b");
    QTest::newRow("signs") << QStringLiteral("A=# [x] @ | > < & * ? ,");
    QTest::newRow("blanks around") << QStringLiteral("  A=1  ");
    QTest::newRow("nothing") << QString();
}

void TestUnitProperties::keepsOddTextInHints()
{
    QFETCH(QString, text);
    permissionOption("BaseTask");
    const QVariantMap groups{{QStringLiteral("Slice"), text}};
    const QVariantMap properties =
        build(withUser({{QStringLiteral("Params"), QStringList{text}},
                        {QStringLiteral("CGroups"), groups}}),
              typicalTask(), {{QStringLiteral("Environment"), QStringList{text}}});
    QCOMPARE(commandOf(properties), QStringLiteral(" -- /bin/true -v ") + text);
    QCOMPARE(properties.value(QStringLiteral("Slice")).toString(), text);
    QCOMPARE(properties.value(QStringLiteral("Environment")).toStringList(),
             QStringList{text} + ownEnvironment());
}

void TestUnitProperties::writesAByteAsANumber()
{
    permissionOption("BaseTask");
    const QVariantMap groups{{QStringLiteral("CPUWeight"), QVariant::fromValue(uchar(65))}};
    const QVariantMap properties =
        build(Wire().carry(withUser({{QStringLiteral("CGroups"), groups}})));
    QVERIFY(unitOf(properties).contains("\nCPUWeight=65\n"));
}

void TestUnitProperties::complainsOfHintsBeforeTheSandboxDoes()
{
    const QVariantMap settings =
        withUser({{QStringLiteral("Params"), QStringList{QStringLiteral(";")}}});
    QCOMPARE(build(settings, taskWithExec(QStringLiteral("sleep 5")))
                 .value(QStringLiteral("error"))
                 .toString(),
             QStringLiteral("Params must not hold a separate semicolon"));
}

void TestUnitProperties::complainsOfTheUserBeforeTheCommandLine()
{
    const TaskInfo task = taskWithExec(QStringLiteral("/bin/true\n"));
    const QString key = QStringLiteral("error");
    QCOMPARE(build({}, task).value(key).toString(), QStringLiteral("Missing required User key"));
    QCOMPARE(build({{QStringLiteral("User"), QStringLiteral("root")}}, task).value(key).toString(),
             QStringLiteral("User cannot be root"));
}

void TestUnitProperties::acceptsHarmlessSigns_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::newRow("backslash inside") << QStringLiteral("a\\b \\ c");
    QTest::newRow("semicolon at a word") << QStringLiteral("a; ;b a;b ;;");
    QTest::newRow("signs of a shell") << QStringLiteral("$A %i | > 'x' \"y\" # =");
    QTest::newRow("beyond ASCII") << QStringLiteral("ü €");
}

void TestUnitProperties::acceptsHarmlessSigns()
{
    QFETCH(QString, arguments);
    permissionOption("BaseTask");
    const QVariantMap properties =
        build(withUser(), taskWithExec(QStringLiteral("/bin/true ") + arguments));
    QCOMPARE(commandOf(properties), QStringLiteral(" -- /bin/true ") + arguments);
}

void TestUnitProperties::acceptsHintsFromTheWire()
{
    QTest::ignoreMessage(QtWarningMsg, "Unknown permission \"no-such\"");
    permissionOption("BaseTask");
    const QVariantList words{QStringLiteral("one"), QStringLiteral("two")};
    const QVariantMap hints = Wire().carry(
        withUser({{QStringLiteral("Params"), words},
                  {QStringLiteral("Environment"), QStringList{QStringLiteral("A=1")}},
                  {QStringLiteral("Permissions"), QVariantList{QStringLiteral("no-such")}}}));
    QCOMPARE(hints.value(QStringLiteral("Params")).userType(), qMetaTypeId<QDBusArgument>());
    const QVariantMap properties = build(hints, typicalTask(), hints);
    QCOMPARE(commandOf(properties), QStringLiteral(" -- /bin/true -v one two"));
    QCOMPARE(properties.value(QStringLiteral("Environment")).toStringList(),
             QStringList{QStringLiteral("A=1")} + ownEnvironment());
}

void TestUnitProperties::acceptsControlGroupSettingsFromTheWire()
{
    permissionOption("BaseTask");
    const QVariantMap groups{{QStringLiteral("MemoryMax"), QStringLiteral("64M")},
                             {QStringLiteral("Nice"), -5}};
    const QVariantMap hints = Wire().carry(withUser({{QStringLiteral("CGroups"), groups}}));
    QCOMPARE(hints.value(QStringLiteral("CGroups")).userType(), qMetaTypeId<QDBusArgument>());
    const QVariantMap properties = build(hints);
    QCOMPARE(properties.value(QStringLiteral("MemoryMax")), QVariant(QStringLiteral("64M")));
    QCOMPARE(properties.value(QStringLiteral("Nice")), QVariant(-5));
}

QTEST_GUILESS_MAIN(TestUnitProperties)
#include "tst_unit_properties.moc"

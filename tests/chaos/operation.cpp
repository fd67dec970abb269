#include "chaos/operation.h"

#include "client/calls.h"
#include "plan/policy_text.h"
#include "support/literals.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <csignal>

namespace Chaos {

namespace {

const QString settings = u"/var/lib/am/apps/com.example.Notes/"_s;
const QString elsewhere = u"/srv/elsewhere/"_s;

QVariantMap hints(bool ownsName)
{
    QVariantMap hints{{u"User"_s, u"appuser"_s}};
    if (ownsName)
        hints.insert(u"DBusService"_s, u"com.example.Notes.Sync"_s);
    return hints;
}

QDBusMessage startAtBootCall()
{
    QVariantMap atBoot = hints(true);
    atBoot.insert(u"Autostart"_s, 2);
    return Fixture::startCall(Scene::task(), atBoot);
}

QDBusMessage startCall(bool ownsName) { return Fixture::startCall(Scene::task(), hints(ownsName)); }

void writeTaskFiles(Scene &scene)
{
    scene.fixture.root.write(scene.fixture.root.unitFile(Scene::task()),
                             "[Service]\nExecStart=/opt/old\n");
    scene.fixture.root.write(scene.fixture.root.policyFile(Scene::task()),
                             // As the daemon writes it: it removes no other.
                             Core::policyText(u"com.example.Old"_s, u"appuser"_s));
}

void writeRunningTask(Scene &scene)
{
    writeTaskFiles(scene);
    scene.run(Scene::unit());
}

void writeRunningTaskWithoutPolicy(Scene &scene)
{
    writeRunningTask(scene);
    scene.fixture.root.remove(scene.fixture.root.policyFile(Scene::task()));
}

void writeSetting(Scene &scene, const QString &file, const QByteArray &text)
{
    scene.fixture.root.write(settings + file, text);
}

void writeSettings(Scene &scene)
{
    writeSetting(scene, u"all-users.conf"_s, "[com.example.Notes]\nautostart=false\n");
    writeSetting(scene, u"100000.conf"_s, "[com.example.Notes%7C100000]\nautostart=false\n");
}

void writeSettingsOfManyUsers(Scene &scene)
{
    writeSettings(scene);
    for (const char *user : {"100001.conf", "100002.conf"})
        writeSetting(scene, QString::fromLatin1(user), "[x]\nautostart=true\n");
    scene.fixture.root.write(u"/var/lib/am/apps/com.example.Mail/100001.conf"_s,
                             "[com.example.Mail%7C100001]\nautostart=true\n");
}

void writeRemovable(Scene &scene)
{
    writeRunningTask(scene);
    writeSettings(scene);
}

void writeHandler(Scene &scene)
{
    scene.fixture.root.write(u"/usr/share/applications/Notes.desktop"_s,
                             "[Desktop Entry]\nType=Application\nName=App\nExec=/usr/bin/app\n"
                             "MimeType=image/png;x-scheme-handler/http;\n"
                             "[X-Application]\nOrganizationName=com.example\n"
                             "ApplicationName=Notes\n");
}

void writeMimeapps(Scene &scene)
{
    writeHandler(scene);
    scene.fixture.root.write(u"/home/config/mimeapps.list"_s,
                             "[Default Applications]\nimage/png=Notes.desktop\n");
}

// Each leads to a file in another folder.
void link(Scene &scene, const QString &at, const QString &to)
{
    const QString place = scene.fixture.root.path(at);
    QDir().mkpath(QFileInfo(place).path());
    if (!QFile::link(scene.fixture.root.path(to), place))
        qFatal("cannot link %s", qPrintable(place));
}

void writeLinkedSettings(Scene &scene)
{
    const TempRoot &root = scene.fixture.root;
    root.write(elsewhere + u"all.conf"_s, "[com.example.Notes]\nautostart=false\n");
    root.write(elsewhere + u"one.conf"_s, "[somebody]\nautostart=false\n");
    link(scene, settings + u"all-users.conf"_s, elsewhere + u"all.conf"_s);
    link(scene, settings + u"100000.conf"_s, elsewhere + u"one.conf"_s);
}

void writeLinkedMimeapps(Scene &scene)
{
    writeHandler(scene);
    scene.fixture.root.write(elsewhere + u"mimeapps.list"_s,
                             "[Default Applications]\nimage/png=Notes.desktop\n");
    link(scene, u"/home/config/mimeapps.list"_s, elsewhere + u"mimeapps.list"_s);
}

void writeKeptRegistrations(Scene &scene)
{
    writeRunningTask(scene);
    scene.fixture.root.write(u"/run/registrations.json"_s,
                             "{\"bus\": \"another\", \"registrations\": []}\n");
}

void nothing(Scene &) { }

QVector<Operation> starts()
{
    const auto call = Operation::Call;
    const bool whole = true;
    // A unit that replaces nothing stays when its policy cannot be written: nobody has started it.
    const bool firstWhole = false;
    const QDBusMessage stop = Client::stopCall(Fixture::sessionPath(), Scene::task());
    return {{u"first Start with policy"_s, call, nothing, startCall(true), firstWhole},
            {u"Start with policy again"_s, call, writeTaskFiles, startCall(true), whole},
            {u"Start without policy"_s, call, writeTaskFiles, startCall(false), whole},
            {u"Start at boot"_s, call, nothing, startAtBootCall(), firstWhole},
            {u"Stop"_s, call, writeRunningTask, stop, true, false},
            {u"Stop without policy"_s, call, writeRunningTaskWithoutPolicy, stop, true, false}};
}

QVector<Operation> switches()
{
    const auto call = Operation::Call;
    const bool whole = true;
    const QString id = Scene::application();
    const QStringList linked{elsewhere + u"all.conf"_s, elsewhere + u"one.conf"_s};
    const QDBusMessage one = Client::setEnabledCall(100000, id, true);
    const QDBusMessage all = Client::setEnabledCall(-1, id, true);
    return {
        {u"first SetEnabled for one"_s, call, nothing, one},
        {u"SetEnabled for one again"_s, call, writeSettings, one},
        {u"first SetEnabled for all"_s, call, nothing, all},
        {u"SetEnabled for all"_s, call, writeSettings, all, whole, false},
        // The new setting takes the name of the link, and what it led to stays as it is.
        {u"SetEnabled for one at a link"_s, call, writeLinkedSettings, one, whole, true, linked},
        {u"SetEnabled for all at links"_s, call, writeLinkedSettings, all, whole, false, linked},
        {u"GetEnabled"_s, call, writeSettings, Client::getEnabledCall(100000)},
        {u"OnRemove"_s, call, writeRemovable, Client::onRemoveCall(id), false, false}};
}

QVector<Operation> others()
{
    const auto operation = [](const char *name, Operation::Kind kind, void (*prepare)(Scene &)) {
        return Operation{QString::fromLatin1(name), kind, prepare, {}, false, false};
    };
    return {{u"first look at the entries"_s, Operation::Call, nothing,
             Client::registerInvokerCall(u"Sync"_s)},
            operation("clean-up of users", Operation::StartUp, writeSettingsOfManyUsers),
            operation("start-up", Operation::StartUp, writeKeptRegistrations),
            operation("shutdown with registrations", Operation::ShutDown, writeRunningTask),
            operation("first default handler", Operation::Program, writeHandler),
            operation("default handler", Operation::Program, writeMimeapps),
            // A user keeps the file where they like: the link stays.
            {u"default handler at a link"_s,
             Operation::Program,
             writeLinkedMimeapps,
             {},
             false,
             false,
             {u"/home/config/mimeapps.list"_s}}};
}

bool isFirstLook(const Operation &operation)
{
    return operation.call.member() == QLatin1String("RegisterInvoker");
}

Outcome runCall(Scene &scene, const Operation &operation)
{
    scene.answers.forget();
    Outcome outcome;
    outcome.answer = scene.fixture.call(operation.call);
    outcome.succeeded = outcome.answer.type() == QDBusMessage::ReplyMessage;
    (void)scene.isDone();
    return outcome;
}

Outcome runStartUp(Scene &scene, const QStringList &wrapper)
{
    int questions = 0;
    scene.fixture.userManager->onCall = [&questions] { ++questions; };
    Outcome outcome;
    outcome.succeeded = scene.startDaemon(wrapper);
    // What the user manager answers comes before what is asked behind it.
    (void)Fixture::waitUntil([&] { return questions > 0 || !scene.fixture.daemon.isRunning(); });
    (void)scene.isDone();
    scene.fixture.userManager->onCall = {};
    return outcome;
}

Outcome runShutDown(Scene &scene)
{
    scene.fixture.daemon.sendSignal(SIGTERM);
    (void)Fixture::waitUntil([&scene] { return !scene.fixture.daemon.isRunning(); });
    Outcome outcome;
    outcome.succeeded = scene.fixture.daemon.exitStatus() == 0;
    return outcome;
}

Outcome runProgram(Scene &scene, const QStringList &wrapper)
{
    qputenv("ORVANE_BINARY", DEFAULT_HANDLER);
    scene.launchDaemon(wrapper);
    qunsetenv("ORVANE_BINARY");
    (void)Fixture::waitUntil([&scene] { return !scene.fixture.daemon.isRunning(); });
    Outcome outcome;
    outcome.succeeded = scene.fixture.daemon.exitStatus() == 0;
    return outcome;
}

} // namespace

QVector<Operation> operations() { return starts() + switches() + others(); }

bool begin(Scene &scene, const Operation &operation)
{
    if (operation.kind == Operation::StartUp || operation.kind == Operation::Program)
        return true;
    if (!scene.startDaemon())
        return false;
    // What is not about the first look comes behind it.
    return isFirstLook(operation)
        || scene.fixture.registerInvoker(u"Sync"_s).type() == QDBusMessage::ReplyMessage;
}

Outcome run(Scene &scene, const Operation &operation, const QStringList &wrapper)
{
    switch (operation.kind) {
    case Operation::Call:
        return runCall(scene, operation);
    case Operation::StartUp:
        return runStartUp(scene, wrapper);
    case Operation::ShutDown:
        return runShutDown(scene);
    case Operation::Program:
        return runProgram(scene, wrapper);
    }
    return {};
}

} // namespace Chaos

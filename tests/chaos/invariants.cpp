#include "chaos/invariants.h"

#include "client/calls.h"
#include "support/literals.h"

#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

#include <csignal>

namespace Chaos {

namespace {

// From the unit that the daemon runs in.
int stopTimeMs()
{
    static const int timeMs = [] {
        QFile unit(QStringLiteral(ORVANE_UNIT));
        if (!unit.open(QIODevice::ReadOnly))
            qFatal("cannot read the unit");
        const QRegularExpressionMatch match =
            QRegularExpression(u"^TimeoutStopSec=(\\d+)s$"_s, QRegularExpression::MultilineOption)
                .match(QString::fromUtf8(unit.readAll()));
        if (!match.hasMatch())
            qFatal("the unit has no TimeoutStopSec= in seconds");
        return match.captured(1).toInt() * 1000;
    }();
    return timeMs;
}

QStringList faultsOfTheEnd(Scene &scene, int withinMs, const char *what)
{
    if (!QTest::qWaitFor([&scene] { return !scene.fixture.daemon.isRunning(); }, withinMs))
        return {u"it runs on %1 ms after %2"_s.arg(withinMs).arg(QString::fromLatin1(what))};
    if (scene.fixture.daemon.exitStatus() != 0)
        return {u"it ends with status %1 after %2"_s.arg(scene.fixture.daemon.exitStatus())
                    .arg(QString::fromLatin1(what))};
    return {};
}

bool isWholeSetting(const QByteArray &content)
{
    static const QRegularExpression whole(
        u"\\A[0-9a-f]+\n\\[com\\.example\\.\\w+(%7C\\d+)?\\]\nautostart=(true|false)\n\\z"_s);
    return whole.match(QString::fromUtf8(content)).hasMatch();
}

// Files name the folder that they are in.
QByteArray withoutRoot(const Scene &scene, QByteArray content)
{
    return content.replace(QFile::encodeName(scene.fixture.root.path()), "ROOT");
}

} // namespace

QStringList faultsOfTheActiveTasks(Scene &scene)
{
    // What systemd tells of a change comes a moment after its answer.
    constexpr int momentMs = 5000;
    QStringList active;
    const auto knowsAll = [&] { return (active = scene.activeTasks()) == scene.runningTasks(); };
    if (QTest::qWaitFor(knowsAll, momentMs))
        return {};
    return {u"active tasks are %1, running ones %2"_s.arg(
        active.join(QLatin1Char(' ')), scene.runningTasks().join(QLatin1Char(' ')))};
}

QStringList faultsOfTheService(Scene &scene, const QString &task)
{
    QStringList wrong;
    const QVariantMap hints{{u"User"_s, u"appuser"_s}};
    for (const QDBusMessage &call :
         {Client::registerInvokerCall(u"Sync"_s), Fixture::startCall(task, hints),
          Client::stopCall(Fixture::sessionPath(), task), Client::getEnabledCall(0)}) {
        const QDBusMessage answer = scene.fixture.call(call);
        if (answer.type() != QDBusMessage::ReplyMessage)
            wrong.append(u"%1 fails afterwards: %2 %3"_s.arg(call.member(), answer.errorName(),
                                                             answer.errorMessage()));
    }
    return wrong;
}

QStringList faultsOfLeavingWhenIdle(Scene &scene, int idleTimeMs)
{
    // Beyond its idle time it may wait for callers' answers.
    constexpr int patienceMs = 15000;
    // This client holds a session, too.
    Fixture::drop(scene.fixture.client);
    const QStringList wrong =
        faultsOfTheEnd(scene, idleTimeMs + patienceMs, "the last client has left");
    scene.fixture.client = scene.fixture.connect();
    return wrong;
}

QStringList faultsOfSigterm(Scene &scene)
{
    scene.fixture.daemon.sendSignal(SIGTERM);
    return faultsOfTheEnd(scene, stopTimeMs(), "SIGTERM");
}

void WholeFiles::learn(const Scene &scene)
{
    const Snapshot files = scene.snapshot();
    for (auto file = files.cbegin(); file != files.cend(); ++file)
        m_texts[file.key()].insert(withoutRoot(scene, *file));
}

QStringList WholeFiles::faults(const Scene &scene) const
{
    QStringList wrong;
    const Snapshot files = scene.snapshot();
    for (auto file = files.cbegin(); file != files.cend(); ++file) {
        // What is handed on to the next run names the clients of this one.
        if (*file == "folder" || file.key() == QLatin1String("/run/registrations.json"))
            continue;
        const QByteArray content = withoutRoot(scene, *file);
        if (isLeftover(file.key()))
            wrong.append(file.key() + u" is left over"_s);
        else if (!m_texts.value(file.key()).contains(content) && !isWholeSetting(content))
            wrong.append(
                u"%1 is half: %2"_s.arg(file.key(), QString::fromUtf8(content).simplified()));
    }
    return wrong;
}

} // namespace Chaos

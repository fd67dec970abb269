#include "cli/why/autostart_gates.h"

#include "cli/accounts.h"
#include "cli/cures.h"
#include "cli/doctor/gates.h"
#include "cli/no_findings.h"
#include "cli/why/live_facts.h"
#include "cli/words.h"
#include "common/autostart/settings.h"
#include "common/names.h"

#include <QFileInfo>

#include <mdesktopentry.h>

#include <optional>

namespace Cli {

namespace {

using Autostart::Layers;
using Autostart::Setting;

// One layer, in the words of `orvanectl autostart explain`.
QString layerText(const char *layer, const QVector<Setting> &settings, const Setting *deciding)
{
    QStringList texts;
    for (const Setting &setting : settings) {
        texts.append(
            QStringLiteral("%1 in %2%3")
                .arg(yesOrNo(setting.enabled), placeOf(setting.file, setting.line),
                     &setting == deciding ? QStringLiteral(", which decides") : QString()));
    }
    return QStringLiteral("%1: %2").arg(QString::fromLatin1(layer),
                                        texts.isEmpty() ? QStringLiteral("no setting")
                                                        : texts.join(QStringLiteral(", ")));
}

QString layersText(const Layers &layers)
{
    const Setting *deciding = layers.deciding();
    return QStringList{layerText("user", layers.user, deciding),
                       layerText("all users", layers.allUsers, deciding),
                       layerText("system", layers.system, deciding)}
        .join(QStringLiteral("; "));
}

Gate switchGate(const Question &question)
{
    const QString gate = QStringLiteral("autostart");
    const std::optional<int> uid = userNumber(question.user, question.places.programRoot);
    if (!uid)
        return {gate, Gate::No, QStringLiteral("there is no user %1").arg(question.user)};
    NoFindings findings;
    const Layers layers =
        Autostart::Settings(question.places, findings).layersOf(question.application, *uid);
    if (layers.isEnabled())
        return {gate, Gate::Yes, layersText(layers)};
    return {gate, Gate::No, layersText(layers),
            QStringLiteral("It does not start with the session of the user %1.").arg(*uid),
            question.isLive && question.entry.isValid() ? commandOf(
                {QStringLiteral("orvanectl"), QStringLiteral("autostart"), QStringLiteral("enable"),
                 question.application, QStringLiteral("--user"), QString::number(*uid)})
                                                        : QString()};
}

// The launcher reads the entry that is named after the id, and starts the application that it
// declares.
Gate launchGate(const Question &question)
{
    const QString gate = QStringLiteral("launcher's entry");
    const QString name = question.application + QStringLiteral(".desktop");
    const QString file = question.places.firstFile(question.places.applicationFolders, name);
    const QString consequence = QStringLiteral("The launcher does not start the application.");
    if (file.isEmpty()) {
        const QString own = question.entry.desktopFilePath();
        return {gate, Gate::No, QStringLiteral("there is no %1").arg(name), consequence,
                own.isEmpty() ? QString()
                              : moving(own, QFileInfo(own).path() + QLatin1Char('/') + name)};
    }
    const MDesktopEntry entry(question.places.real(file));
    const QString id = entry.appOrgname() + QLatin1Char('.') + entry.appName();
    if (entry.type() == QLatin1String("Link"))
        return {gate, Gate::Yes, QStringLiteral("%1 is a link to %2").arg(file, entry.url())};
    if (!entry.isValid())
        return {gate, Gate::No, QStringLiteral("%1 is not a valid entry").arg(file), consequence};
    if (id == question.application)
        return {gate, Gate::Yes, file};
    if (entry.appOrgname().isEmpty() || entry.appName().isEmpty())
        return {gate, Gate::No,
                QStringLiteral("%1 lacks OrganizationName or ApplicationName").arg(file),
                consequence + QStringLiteral(" Add both to its group [X-Application].")};
    return {gate, Gate::No, QStringLiteral("%1 declares \"%2\"").arg(file, id), consequence};
}

Gate launcherGate(const Question &question)
{
    Examined examined{question.places, {}};
    if (question.isLive)
        examined.live = SystemFacts();
    Gate gate = sessionStartGate(examined);
    gate.name = QStringLiteral("launcher");
    return gate;
}

// The launcher asks the per-user service to start an application. It comes with the platform, and
// may run only during a session.
Gate starterGate()
{
    const QString gate = QStringLiteral("per-user service");
    const QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected())
        return {gate, Gate::NotKnown, QStringLiteral("there is no connection to the bus")};
    if (isAvailable(bus, Names::userService()))
        return {gate, Gate::Yes, Names::userService()};
    return {gate, Gate::NotKnown,
            QStringLiteral("%1, which starts applications, is not on the bus now; a platform with "
                           "applications brings it")
                .arg(Names::userService())};
}

} // namespace

QVector<Gate> autostartGates(const Question &question)
{
    QVector<Gate> gates{switchGate(question), launchGate(question), launcherGate(question)};
    return question.isLive ? gates << starterGate() : gates;
}

} // namespace Cli

#include "cli/doctor/gates.h"
#include "cli/doctor/policy_rule.h"
#include "common/names.h"
#include "files/foreign_file.h"

#include <QFileInfo>

#include <algorithm>

namespace Cli {

namespace {

// Makes the bus read its configuration again.
QString reloading()
{
    return QStringLiteral("busctl call org.freedesktop.DBus /org/freedesktop/DBus "
                          "org.freedesktop.DBus ReloadConfig");
}

bool isShut(const Gate &gate) { return gate.answer == Gate::No; }

// Whether the running bus follows the rule that the evidence names.
Gate policyInForce(Gate gate, const Examined &examined)
{
    if (!examined.answers())
        return notAsked(gate.name, gate.evidence);
    const Client::Outcome &call = examined.live->daemon;
    if (call.errorName != QLatin1String("org.freedesktop.DBus.Error.AccessDenied"))
        return {gate.name, Gate::Yes, gate.evidence};
    gate.evidence += QStringLiteral(", but the bus refuses a call: ") + call.toString();
    gate.cure = reloading();
    return gate;
}

} // namespace

Gate notAsked(const QString &name, const QString &evidence)
{
    const QString reason = QStringLiteral("the bus cannot be reached");
    return {name, Gate::NotKnown,
            evidence.isEmpty() ? reason : evidence + QStringLiteral("; ") + reason};
}

Gate busGate(const Examined &examined)
{
    const QString name = QStringLiteral("bus");
    if (!examined.answers())
        return {name, Gate::No, examined.live->bus.toString(),
                QStringLiteral("the daemon does not start, and no program can call it"),
                QStringLiteral("systemctl start dbus.socket dbus.service")};
    return {name, Gate::Yes,
            examined.live->busProgram.isEmpty()
                ? QStringLiteral("it answers")
                : examined.live->busProgram + QStringLiteral(" answers")};
}

Gate policyGate(const Examined &examined)
{
    Gate gate{QStringLiteral("bus policy"),
              Gate::No,
              {},
              QStringLiteral("the daemon cannot take its name, or no program can call it")};
    const PolicyRule rule = ruleForOwning(Names::service(), examined.places);
    gate.evidence = QStringLiteral("%1:%2").arg(rule.file).arg(rule.line);
    if (rule.file.isEmpty()) {
        gate.evidence =
            QStringLiteral("no file in %1 lets root own %2")
                .arg(policyFolders(examined.places).join(QStringLiteral(" or ")), Names::service());
        gate.consequence += QStringLiteral("; it comes with Orvane's package");
        return gate;
    }
    if (!rule.allows) {
        gate.evidence += QStringLiteral(" denies it");
        return gate;
    }
    return examined.isLive() ? policyInForce(gate, examined)
                             : Gate{gate.name, Gate::Yes, gate.evidence};
}

Gate activationGate(const Examined &examined)
{
    const QString name = QStringLiteral("bus activation");
    const QString file = examined.places.root
        + QStringLiteral("/usr/share/dbus-1/system-services/%1.service").arg(Names::service());
    const QString consequence = QStringLiteral("the bus does not start the daemon when it is "
                                               "called");
    const QString hands = QStringLiteral("SystemdService=") + daemonUnit();
    if (!QFileInfo::exists(examined.places.real(file)))
        return {name, Gate::No, file + QStringLiteral(" is missing"),
                consequence + QStringLiteral("; it comes with Orvane's package")};
    if (!readForeignFile(examined.places.real(file)).text.contains(hands.toUtf8()))
        return {name, Gate::No, QStringLiteral("%1 has no %2").arg(file, hands), consequence};
    if (examined.isLive() && !examined.answers())
        return notAsked(name, file);
    if (examined.isLive() && !examined.live->activatableNames.contains(Names::service()))
        return {name, Gate::No, file + QStringLiteral(", which the bus has not read"), consequence,
                reloading()};
    return {name, Gate::Yes, file};
}

Gate daemonGate(const Examined &examined, const QVector<Gate> &before)
{
    const QString name = QStringLiteral("daemon");
    const auto shut = std::find_if(before.cbegin(), before.cend(), isShut);
    if (!examined.answers() || shut != before.cend())
        return {name, Gate::NotKnown,
                shut == before.cend() ? QStringLiteral("it cannot be reached")
                                      : QStringLiteral("it needs the %1").arg(shut->name)};
    if (examined.live->daemon)
        return {name, Gate::No, examined.live->daemon.toString(),
                QStringLiteral("nothing is started; journalctl -u %1 shows why").arg(daemonUnit())};
    return {name, Gate::Yes, QStringLiteral("%1 answers").arg(Names::service())};
}

Gate userListGate(const Examined &examined)
{
    const QString name = QStringLiteral("list of users");
    if (!examined.answers())
        return notAsked(name);
    if (examined.live->hasService(Names::userManager()))
        return {name, Gate::Yes, Names::userManager() + QStringLiteral(" is on the bus")};
    return {name, Gate::No, Names::userManager() + QStringLiteral(" is not on the bus"),
            QStringLiteral("autostart settings of removed users are kept; the platform's user "
                           "manager provides it")};
}

} // namespace Cli

// orvanectl autostart

#include "cli/accounts.h"
#include "cli/commands/all.h"
#include "cli/exit_status.h"
#include "cli/no_findings.h"
#include "cli/output.h"
#include "cli/words.h"
#include "client/daemon.h"
#include "client/wait_for.h"
#include "common/autostart/settings.h"
#include "common/places.h"

#include <QJsonArray>

#include <unistd.h>

namespace Cli {

namespace {

using Autostart::Layers;
using Autostart::Setting;

// The uid that means all users in the daemon's calls.
constexpr int allUsers = -1;

QString list() { return QStringLiteral("list"); }

QString enable() { return QStringLiteral("enable"); }

QString disable() { return QStringLiteral("disable"); }

QString explain() { return QStringLiteral("explain"); }

/// What the command line asks for.
struct Asked
{
    QString action;
    QString application;
    int uid = allUsers;

    [[nodiscard]] QString whose() const
    {
        return uid == allUsers ? QStringLiteral("all users")
                               : QStringLiteral("the user %1").arg(uid);
    }
    void addTo(QJsonObject &object) const
    {
        if (!application.isEmpty())
            object.insert(QStringLiteral("application"), application);
        if (uid != allUsers)
            object.insert(QStringLiteral("user"), uid);
    }
};

/// The settings of one layer, for both kinds of output.
struct Layer
{
    QString name;
    const QVector<Setting> *settings;
};

QVector<Layer> layersIn(const Layers &layers, const Asked &asked)
{
    QVector<Layer> all{{QStringLiteral("system"), &layers.system},
                       {QStringLiteral("all-users"), &layers.allUsers}};
    if (asked.uid != allUsers)
        all.append({QStringLiteral("user"), &layers.user});
    return all;
}

QMap<QString, Layers> layersFor(const Asked &asked)
{
    NoFindings findings;
    QMap<QString, Layers> all =
        Autostart::Settings(Places::ofProcess(), findings).allLayers(asked.uid);
    // The uid that means all users has no settings of its own.
    if (asked.uid == allUsers) {
        for (Layers &layers : all)
            layers.user.clear();
    }
    return all;
}

QString placeOf(const Setting *setting)
{
    if (setting == nullptr)
        return unknown();
    return Cli::placeOf(setting->file, setting->line);
}

QJsonObject objectOf(const Setting &setting)
{
    QJsonObject object{{QStringLiteral("file"), setting.file},
                       {QStringLiteral("enabled"), setting.enabled}};
    if (setting.line > 0)
        object.insert(QStringLiteral("line"), setting.line);
    return object;
}

QJsonObject objectOf(const QString &application, const Layers &layers)
{
    QJsonObject object{{QStringLiteral("application"), application},
                       {QStringLiteral("enabled"), layers.isEnabled()}};
    if (const Setting *deciding = layers.deciding())
        object.insert(QStringLiteral("decidedBy"), objectOf(*deciding));
    return object;
}

int listAll(const Asked &asked, Output &output)
{
    Table table({{QStringLiteral("APPLICATION")},
                 {QStringLiteral("STARTS")},
                 {QStringLiteral("FILE"), Table::Left, Table::Overflow::CutBeginning}});
    QJsonArray objects;
    const QMap<QString, Layers> all = layersFor(asked);
    for (auto layers = all.constBegin(); layers != all.constEnd(); ++layers) {
        if (!asked.application.isEmpty() && layers.key() != asked.application)
            continue;
        if (layers->deciding() == nullptr)
            continue;
        objects.append(objectOf(layers.key(), *layers));
        table.add({layers.key(), yesOrNo(layers->isEnabled()), placeOf(layers->deciding())});
    }
    QJsonObject object{{QStringLiteral("applications"), objects}};
    asked.addTo(object);
    if (output.isJson())
        output.print(object);
    else
        output.print(table);
    return Done;
}

QString verdictOn(const Asked &asked, const Layers &layers)
{
    const QString verdict =
        QStringLiteral("%1 %2 for %3")
            .arg(asked.application,
                 layers.isEnabled() ? QStringLiteral("starts") : QStringLiteral("does not start"),
                 asked.whose());
    return layers.deciding() == nullptr ? verdict + QStringLiteral(": there is no setting for it")
                                        : verdict;
}

QJsonObject explanationOf(const Asked &asked, const Layers &layers)
{
    QJsonArray settings;
    for (const Layer &layer : layersIn(layers, asked)) {
        for (const Setting &setting : *layer.settings) {
            QJsonObject object = objectOf(setting);
            object.insert(QStringLiteral("layer"), layer.name);
            object.insert(QStringLiteral("decides"), &setting == layers.deciding());
            settings.append(object);
        }
    }
    QJsonObject object{
        {QStringLiteral("enabled"), layers.isEnabled()},
        {QStringLiteral("settings"), settings},
        {QStringLiteral("mayChange"),
         QJsonArray{QStringLiteral("user root"), QStringLiteral("group privileged")}}};
    asked.addTo(object);
    return object;
}

QStringList linesOf(const Asked &asked, const Layers &layers, int width)
{
    Table table({{QStringLiteral("LAYER")},
                 {QStringLiteral("STARTS")},
                 {QStringLiteral("DECIDES")},
                 {QStringLiteral("FILE"), Table::Left, Table::Overflow::CutBeginning}});
    for (const Layer &layer : layersIn(layers, asked)) {
        if (layer.settings->isEmpty())
            table.add({layer.name, unknown(), yesOrNo(false), QStringLiteral("no setting")});
        for (const Setting &setting : *layer.settings)
            table.add({layer.name, yesOrNo(setting.enabled), yesOrNo(&setting == layers.deciding()),
                       placeOf(&setting)});
    }
    return wrapped(printable(verdictOn(asked, layers)), 0, width) + table.lines(width)
        + QStringList{QStringLiteral("Root and the group privileged may change it: "
                                     "orvanectl autostart enable|disable")};
}

int explainOne(const Asked &asked, Output &output)
{
    const Layers layers = layersFor(asked).value(asked.application);
    if (output.isJson())
        output.print(explanationOf(asked, layers));
    else
        output.print(linesOf(asked, layers, output.terminal().width));
    return Done;
}

bool hasEntry(const QString &application)
{
    const Places places = Places::ofProcess();
    return !places.firstFile(places.applicationFolders, application + QStringLiteral(".desktop"))
                .isEmpty();
}

int change(const Asked &asked, Output &output)
{
    const bool enabled = asked.action == enable();
    Client::Daemon daemon(QDBusConnection::systemBus());
    const auto [outcome] = Client::waitFor<Client::Outcome>(
        [&](const auto &done) { daemon.setEnabled(asked.uid, asked.application, enabled, done); });
    if (outcome.errorName == QLatin1String("org.freedesktop.DBus.Error.AccessDenied"))
        return Output::fail(No,
                            QStringLiteral("only root and members of the group privileged may "
                                           "change autostart settings; try it as root"));
    if (outcome)
        return Output::fail(outcome);
    if (enabled && !hasEntry(asked.application))
        Output::warn(QStringLiteral("there is no %1.desktop, which the launcher looks for")
                         .arg(asked.application));
    QJsonObject object{{QStringLiteral("enabled"), enabled},
                       {QStringLiteral("outcome"), QStringLiteral("accepted")}};
    asked.addTo(object);
    if (output.isJson())
        output.print(object);
    return Done;
}

QString complaintOf(const Asked &asked, const Request &request)
{
    if (request.has(QStringLiteral("user")) && request.has(QStringLiteral("all-users")))
        return QStringLiteral("--user and --all-users exclude each other");
    if (asked.action != list() && asked.application.isEmpty())
        return QStringLiteral("APP is required");
    const bool isChange = asked.action == enable() || asked.action == disable();
    if (isChange && request.has(QStringLiteral("root")))
        return QStringLiteral("the daemon changes settings of this system only, not below --root");
    return {};
}

int run(const Request &request, Output &output)
{
    Asked asked{request.arguments.value(0), request.arguments.value(1)};
    const QString complaint = complaintOf(asked, request);
    if (!complaint.isEmpty())
        return Output::fail(WrongUsage,
                            complaint + QStringLiteral("; try: orvanectl autostart --help"));
    const QString user = request.value(QStringLiteral("user"));
    if (request.has(QStringLiteral("user"))) {
        const auto number = userNumber(user, request.value(QStringLiteral("root")));
        if (!number)
            return Output::fail(No, QStringLiteral("there is no user %1").arg(user));
        asked.uid = *number;
    } else if (!request.has(QStringLiteral("all-users"))) {
        asked.uid = static_cast<int>(getuid());
    }
    if (asked.action == list())
        return listAll(asked, output);
    return asked.action == explain() ? explainOne(asked, output) : change(asked, output);
}

QVector<QPair<QString, QString>> fields()
{
    return {
        {QStringLiteral("user"), QStringLiteral("the uid; absent for all users")},
        {QStringLiteral("application"), QStringLiteral("the application's id, if one is given")},
        {QStringLiteral("enabled"), QStringLiteral("whether it starts")},
        {QStringLiteral("applications"),
         QStringLiteral("of list: an array of objects with application, enabled and decidedBy")},
        {QStringLiteral("decidedBy"),
         QStringLiteral("the setting that decides: an object with file, line and enabled; line is "
                        "absent where the file does not have the key, which means no")},
        {QStringLiteral("settings"),
         QStringLiteral("of explain: an array of all settings, each with file, line, enabled, "
                        "layer (\"system\", \"all-users\" or \"user\") and decides")},
        {QStringLiteral("mayChange"), QStringLiteral("of explain: who may change it")},
        {QStringLiteral("outcome"), QStringLiteral("of enable and disable: \"accepted\"")}};
}

QStringList description()
{
    return {
        QStringLiteral(
            "Shows and changes which applications start at the beginning of a user's session. A "
            "setting of the user overrides one for all users, which overrides one that the system "
            "ships. An application without any setting does not start."),
        QStringLiteral("list shows this for every application that has a setting; explain shows "
                       "all layers of one application with their files. Both read the files and do "
                       "not need the daemon. enable and disable ask the daemon to write the "
                       "setting, which it does for root and members of the group privileged. With "
                       "--all-users the settings of single users are removed.")};
}

} // namespace

Command autostartCommand()
{
    Command command;
    command.name = QStringLiteral("autostart");
    command.summary = QStringLiteral("show and change which applications start with a session");
    command.description = description();
    command.arguments = {
        {QStringLiteral("ACTION"),
         Kind::Text,
         QStringLiteral("one of list, enable, disable and explain"),
         true,
         false,
         {list(), enable(), disable(), explain()}},
        {QStringLiteral("APP"), Kind::Application,
         QStringLiteral("the application's id; without it, list shows all applications"), false}};
    command.options = {
        {QStringLiteral("user"), QStringLiteral("USER"), Kind::User,
         QStringLiteral("the user, by name or number; default: you")},
        {QStringLiteral("all-users"), {}, Kind::Text, QStringLiteral("the setting for all users")}};
    command.fields = fields();
    command.run = run;
    return command;
}

} // namespace Cli

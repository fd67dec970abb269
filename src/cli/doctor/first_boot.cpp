#include "cli/doctor/first_boot.h"

#include "cli/accounts.h"
#include "cli/doctor/unit_file.h"
#include "cli/no_findings.h"
#include "cli/task_units.h"
#include "cli/units_at_boot.h"
#include "common/autostart/settings.h"

#include <algorithm>

namespace Cli {

namespace {

QVector<TaskAtBoot> tasksAtBoot(const Places &places)
{
    QVector<TaskAtBoot> tasks;
    for (const QString &unit : unitsAtBoot(places)) {
        const QString user = wordsOfUnit(unit, QStringLiteral("User"), places.root).value(0);
        tasks.append({taskIdOfUnit(unit), user, unitFileOf(unit, UnitKind::System, places.root)});
    }
    return tasks;
}

// The uid that means all users has no settings of its own.
constexpr int allUsers = -1;

QVector<ApplicationAtSession> startingFor(const Account &user, const Places &places)
{
    NoFindings findings;
    QVector<ApplicationAtSession> applications;
    const auto all = Autostart::Settings(places, findings).allLayers(user.uid);
    for (auto layers = all.constBegin(); layers != all.constEnd(); ++layers) {
        const Autostart::Setting *deciding = layers->deciding();
        if (layers->isEnabled())
            applications.append({layers.key(), user.name, deciding->file, deciding->line});
    }
    return applications;
}

bool holds(const QVector<ApplicationAtSession> &all, const ApplicationAtSession &one)
{
    return std::any_of(all.cbegin(), all.cend(), [&](const ApplicationAtSession &other) {
        return other.application == one.application && other.file == one.file
            && other.line == one.line;
    });
}

} // namespace

FirstBoot firstBootOf(const Places &places)
{
    FirstBoot boot{tasksAtBoot(places), startingFor({{}, allUsers, -1, {}}, places)};
    const QVector<ApplicationAtSession> ofAllUsers = boot.applications;
    for (const Account &user : accountsOf(places.root)) {
        for (const ApplicationAtSession &application : startingFor(user, places)) {
            if (!holds(ofAllUsers, application))
                boot.applications.append(application);
        }
    }
    return boot;
}

} // namespace Cli

#pragma once

#include "common/places.h"

#include <QString>
#include <QVector>

namespace Cli {

/// A task whose unit is enabled.
struct TaskAtBoot
{
    QString task;
    /// The user that it runs as; empty when its unit does not say.
    QString user;
    /// Its unit, or the link to it when that is missing.
    QString unitFile;
};

/// An application that starts with a session.
struct ApplicationAtSession
{
    QString application;
    /// The user's name; empty for everybody without a setting of their own.
    QString user;
    /// The setting that decides.
    QString file;
    int line = 0;
};

/// What runs when a system boots and its users begin their sessions.
struct FirstBoot
{
    QVector<TaskAtBoot> tasks;
    QVector<ApplicationAtSession> applications;
};

/// Reads the links to units, the settings of autostart and the users of a system.
[[nodiscard]] FirstBoot firstBootOf(const Places &places);

} // namespace Cli

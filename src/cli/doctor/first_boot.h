#pragma once

#include "common/places.h"

#include <QString>
#include <QVector>

namespace Cli {

/// A task whose unit is enabled.
struct TaskAtBoot
{
    QString task;
    /// The user that it runs as; empty when the unit does not set one.
    QString user;
    /// The unit file, or the link to it when the file is missing.
    QString unitFile;
};

/// An application that starts with a session.
struct ApplicationAtSession
{
    QString application;
    /// The user's name; empty when it starts for every user without a setting of their own.
    QString user;
    /// The setting that decides.
    QString file;
    int line = 0;
};

/// What runs when a system boots and when its users' sessions begin.
struct FirstBoot
{
    QVector<TaskAtBoot> tasks;
    QVector<ApplicationAtSession> applications;
};

/// Reads the enabled units, the autostart settings and the users of a system.
[[nodiscard]] FirstBoot firstBootOf(const Places &places);

} // namespace Cli

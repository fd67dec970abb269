#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariantMap>

/// A start and the files that it writes, read from tests/data.
struct GoldenPlan
{
    /// Names of all golden plans.
    [[nodiscard]] static QStringList names();
    /// Reads one. Ends the test program when a file is missing or cannot be read.
    explicit GoldenPlan(const QString &name);

    /// Text and file name of the desktop entry.
    QByteArray entry;
    QString file;
    QString task;
    QString program;
    /// Names of the permission files that exist in the system.
    QStringList permissions;
    QVariantMap info;
    QVariantMap hints;
    QByteArray unit;
    QStringList argv;
    /// Empty when there is no policy.
    QByteArray policy;

    /// The unit in a system without any permission file.
    [[nodiscard]] QByteArray unitWithoutPermissions() const;
};

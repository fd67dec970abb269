#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariantMap>

/// A start and what it writes, as tests/data tells it.
struct GoldenPlan
{
    /// Names of all of them.
    [[nodiscard]] static QStringList names();
    /// Ends the test program when a file is missing or no JSON.
    explicit GoldenPlan(const QString &name);

    /// The desktop entry, and what its file is called.
    QByteArray entry;
    QString file;
    QString task;
    QString program;
    /// Names of the permission files that the system has.
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

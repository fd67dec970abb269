#pragma once

#include "common/Core/application_registry.h"
#include "common/Core/error.h"

#include <QByteArray>
#include <QString>
#include <QVariantMap>

// What a task's unit and bus policy are called, where they lie, what they hold, and writing them.
// Everything but the writers is a pure function of its arguments and the file system's answers;
// none of it needs a bus.

namespace Core {

/// What every task unit's name starts with.
[[nodiscard]] QString taskUnitPrefix();
/// The systemd unit of a task.
[[nodiscard]] QString unitNameOf(const QString &taskId);
/// The task of a unit name; empty when the name is not a task unit's.
[[nodiscard]] QString taskIdOfUnit(const QString &unitName);
/// Path of the task's unit file, below the root prefix.
[[nodiscard]] QString unitFilePath(const QString &taskId);
/// Path of the task's bus policy file, below the root prefix. Creates nothing.
[[nodiscard]] QString policyFilePath(const QString &taskId);

/// What a unit says for a property: the words of a list, separated by blanks; a number in decimal.
[[nodiscard]] QString propertyText(const QVariant &value);
/// The unit file's text.
[[nodiscard]] QByteArray unitFileText(const QString &taskId, const QVariantMap &properties);
/// The bus policy's text: `user` may own `busName`, everybody may send to it.
[[nodiscard]] QByteArray policyText(const QString &busName, const QString &user);

/// Writes the task's unit file, whole or not at all.
/// @return whether the file holds the new text; otherwise what was there before still is.
[[nodiscard]] bool writeUnitFile(const QString &taskId, const QVariantMap &properties);

} // namespace Core

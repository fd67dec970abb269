#pragma once

#include "cli/accounts.h"
#include "cli/why/question.h"

#include <QString>
#include <QVector>

#include <optional>

namespace Cli {

enum class Access { Read, Execute };

/// A user with all of their groups. Without either, a user who has only the permissions of others.
struct Identity
{
    int uid = -1;
    QVector<int> groups;
};

/// The account of the question's user; no value when none is given or it does not exist.
[[nodiscard]] std::optional<Account> accountOf(const Question &question);
/// The identity that the task runs with: the question's user, if the user's groups are known.
[[nodiscard]] Identity runnerOf(const Question &question);

/// The first folder on the path of a file, or the file itself, that denies access; empty when none
/// does.
/// @param path the absolute path of an existing file.
/// @param root the image that it is in, whose own folder is not checked; empty for this system.
[[nodiscard]] QString obstacleTo(const QString &path, Access access, const Identity &who,
                                 const QString &root = {});

/// Evidence such as "app may not read /a/b, because of /a".
[[nodiscard]] QString refusalOf(const QString &path, Access access, const QString &obstacle,
                                const QString &user);

/// The command that gives every user access to the obstacle.
[[nodiscard]] QString opening(const QString &obstacle, Access access);

} // namespace Cli

#pragma once

#include "cli/accounts.h"
#include "cli/why/question.h"

#include <QString>
#include <QVector>

#include <optional>

namespace Cli {

enum class Access { Read, Execute };

/// Whose permissions count: a user with every group that the user is in. Without either, somebody
/// who has only what everybody has.
struct Identity
{
    int uid = -1;
    QVector<int> groups;
};

/// The user that is asked about; nothing when nobody is named or there is no such user.
[[nodiscard]] std::optional<Account> accountOf(const Question &question);
/// Who runs the task: that user, if the system that is asked about knows the user's groups.
[[nodiscard]] Identity runnerOf(const Question &question);

/// The first file or folder on the way to a file, itself included, that keeps somebody from it;
/// empty when none does.
/// @param path an absolute path of a file that is there.
/// @param root the image that it is in, whose own folder counts for nothing; empty for this system.
[[nodiscard]] QString obstacleTo(const QString &path, Access access, const Identity &who,
                                 const QString &root = {});

/// "app may not read /a/b, because of /a", for evidence.
[[nodiscard]] QString refusalOf(const QString &path, Access access, const QString &obstacle,
                                const QString &user);

/// The command that lets everybody pass an obstacle.
[[nodiscard]] QString opening(const QString &obstacle, Access access);

} // namespace Cli

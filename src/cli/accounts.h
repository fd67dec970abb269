#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

#include <optional>

// User names and numbers.

namespace Cli {

/// A user from the user database.
struct Account
{
    QString name;
    int uid = -1;
    /// The user's primary group; -1 when unknown.
    int gid = -1;
    QString home;
};

/// Looks up a user by name or number.
/// @param root the root directory of the image to look in; empty for this system.
/// @return no value when there is no such user.
[[nodiscard]] std::optional<Account> accountOf(const QString &user, const QString &root);
/// Looks up a user in the text of a passwd file.
[[nodiscard]] std::optional<Account> accountIn(const QByteArray &passwd, const QString &user);
/// All users in the passwd file of a system.
/// @param root as above.
[[nodiscard]] QVector<Account> accountsOf(const QString &root);
/// The uid of a user who is given by name or number.
/// @param root the root directory of the image to look in; empty for this system.
/// @return no value when there is no such user.
[[nodiscard]] std::optional<int> userNumber(const QString &user, const QString &root);
/// The uid of a user name in the text of a passwd file; no value when it is not in there.
[[nodiscard]] std::optional<int> userNumberIn(const QByteArray &passwd, const QString &name);

/// Whether a user with this uid may exist. True for any uid if the root has no passwd file yet.
[[nodiscard]] bool mayBeUser(int number, const QString &root);

} // namespace Cli

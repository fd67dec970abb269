#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

#include <optional>

// User names and numbers.

namespace Cli {

/// A user, as the user database has one.
struct Account
{
    QString name;
    int uid = -1;
    /// Of the user's main group; -1 when the database does not say.
    int gid = -1;
    QString home;
};

/// The user of a name or a number.
/// @param root the image whose users are meant; empty for this system.
/// @return nothing when there is no such user.
[[nodiscard]] std::optional<Account> accountOf(const QString &user, const QString &root);
/// The same in the text of a passwd file.
[[nodiscard]] std::optional<Account> accountIn(const QByteArray &passwd, const QString &user);
/// The users in the passwd file of a system.
/// @param root as above.
[[nodiscard]] QVector<Account> accountsOf(const QString &root);
/// The number of a user, in decimal or by name.
/// @param root the image whose users are meant; empty for this system.
/// @return nothing when there is no such user.
[[nodiscard]] std::optional<int> userNumber(const QString &user, const QString &root);
/// The number of a name in the text of a passwd file; nothing when it does not have it.
[[nodiscard]] std::optional<int> userNumberIn(const QByteArray &passwd, const QString &name);

/// Whether there is a user of a number, or nobody can tell: a root without a passwd file has none
/// yet.
[[nodiscard]] bool mayBeUser(int number, const QString &root);

} // namespace Cli

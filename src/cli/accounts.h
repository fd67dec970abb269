#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// User names and numbers.

namespace Cli {

/// The number of a user, in decimal or by name.
/// @param root the image whose users are meant; empty for this system.
/// @return nothing when there is no such user.
[[nodiscard]] std::optional<int> userNumber(const QString &user, const QString &root);
/// The home of a user, by number or name, as it is named in the system that the user is of.
/// @param root as above.
/// @return empty when there is no such user.
[[nodiscard]] QString userHome(const QString &user, const QString &root);
/// The same in the text of a passwd file.
[[nodiscard]] QString userHomeIn(const QByteArray &passwd, const QString &user);
/// The number of a name in the text of a passwd file; nothing when it does not have it.
[[nodiscard]] std::optional<int> userNumberIn(const QByteArray &passwd, const QString &name);

} // namespace Cli

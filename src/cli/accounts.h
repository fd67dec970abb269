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
/// The number of a name in the text of a passwd file; nothing when it does not have it.
[[nodiscard]] std::optional<int> userNumberIn(const QByteArray &passwd, const QString &name);

} // namespace Cli

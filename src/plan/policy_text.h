#pragma once

#include <QByteArray>
#include <QString>

namespace Core {

/// The text of a bus policy file: `user` may own `busName`, everybody may send to it.
[[nodiscard]] QByteArray policyText(const QString &busName, const QString &user);
/// Whether a text is, byte for byte, a result of policyText() for some name and user.
[[nodiscard]] bool isPolicyText(const QByteArray &text);

} // namespace Core

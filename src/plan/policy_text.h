#pragma once

#include <QByteArray>
#include <QString>

namespace Core {

/// The text of a bus policy file: `user` may own `busName`, everybody may send to it.
[[nodiscard]] QByteArray policyText(const QString &busName, const QString &user);

} // namespace Core

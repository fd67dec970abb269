#pragma once

#include <QString>
#include <QStringList>

// Services that the container's systemd runs.

namespace Bench {

/// Runs systemctl and waits for it.
/// @return what it printed, without white space around it.
QString systemctl(const QStringList &arguments);
/// The process of a service; 0 while it does not run.
qint64 mainPid(const QString &unit);

} // namespace Bench

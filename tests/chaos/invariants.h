#pragma once

#include "chaos/scene.h"

#include <QMap>
#include <QSet>
#include <QStringList>

namespace Chaos {

// What has to hold whatever the daemon's peers and clients do. Each function says in words what
// does not.

/// Clients are told of exactly the tasks that run.
[[nodiscard]] QStringList faultsOfTheActiveTasks(Scene &scene);
/// The daemon starts and stops a task, and gives back what is switched on.
[[nodiscard]] QStringList faultsOfTheService(Scene &scene, const QString &task);
/// It leaves with status 0 when no client holds anything and nobody calls.
/// @param idleTimeMs that it was started with.
[[nodiscard]] QStringList faultsOfLeavingWhenIdle(Scene &scene, int idleTimeMs);
/// SIGTERM ends it with status 0 within the time after which the service manager would kill it.
[[nodiscard]] QStringList faultsOfSigterm(Scene &scene);

/// The texts that files have when the daemon works undisturbed.
class WholeFiles
{
public:
    /// Takes the texts of all files for whole ones, wherever the root is.
    void learn(const Scene &scene);
    /// Every file has a text that was learnt or is a whole autostart setting; nothing temporary is
    /// left.
    [[nodiscard]] QStringList faults(const Scene &scene) const;

private:
    QMap<QString, QSet<QByteArray>> m_texts;
};

} // namespace Chaos

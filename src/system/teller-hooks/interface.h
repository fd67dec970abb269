#pragma once

#include <QDBusContext>
#include <QObject>

#include <functional>

namespace TellerHooks {

/// The hook that the package manager calls when it removes an application: removes everything that
/// the daemon stores for it. Each call restarts the idle time. Event-loop thread only.
class DBusInterface : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.zarn.Teller.Hooks")
    Q_PROPERTY(bool isIdle READ isIdle NOTIFY isIdleChanged)

public:
    /// Cleans up after one application; returns whether that succeeded.
    using CleanUp = std::function<bool(const QString &application)>;

    /// @param autostart removes the autostart settings.
    /// @param tasks stops the background tasks and removes their files.
    DBusInterface(CleanUp autostart, CleanUp tasks, QObject *parent = nullptr);

    /// True except for a moment in each call, which restarts the idle time.
    [[nodiscard]] bool isIdle() const { return m_isIdle; }

Q_SIGNALS:
    /// isIdle() has changed.
    void isIdleChanged();

public Q_SLOTS:
    /// Cleans up after a removed application; answers with an error if that fails.
    /// @param application the package manager's name for it, passed on unchanged.
    void OnRemove(const QString &application);

private:
    void setIdle(bool idle);

    const CleanUp m_autostart;
    const CleanUp m_tasks;
    bool m_isIdle = true;
};

} // namespace TellerHooks

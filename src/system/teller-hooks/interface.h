#pragma once

#include <QDBusContext>
#include <QObject>

#include <functional>

namespace TellerHooks {

/// What the package manager calls when it removes an application: has everything forgotten that
/// the daemon keeps for it. Each call counts as activity. Event-loop thread only.
class DBusInterface : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.zarn.Teller.Hooks")
    Q_PROPERTY(bool isIdle READ isIdle NOTIFY isIdleChanged)

public:
    /// Forgets one application; returns whether it could.
    using CleanUp = std::function<bool(const QString &application)>;

    /// @param autostart forgets the autostart settings.
    /// @param tasks stops the background tasks.
    DBusInterface(CleanUp autostart, CleanUp tasks, QObject *parent = nullptr);

    [[nodiscard]] bool isIdle() const { return m_isIdle; }

Q_SIGNALS:
    void isIdleChanged();

public Q_SLOTS:
    /// @param application the name as the package manager knows it, handed on as it stands.
    void OnRemove(const QString &application);

private:
    void setIdle(bool idle);

    const CleanUp m_autostart;
    const CleanUp m_tasks;
    bool m_isIdle = true;
};

} // namespace TellerHooks

#pragma once

#include <QDBusContext>
#include <QObject>
#include <QStringList>

namespace Autostart {

class Manager;

/// The D-Bus interface of the autostart settings: anybody may read, privileged callers may write.
/// Each call restarts the idle time. Event-loop thread only; SetEnabled blocks for a call to the
/// bus.
class DBusInterface : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.zarn.am.Autostart")
    Q_PROPERTY(bool isIdle READ isIdle NOTIFY isIdleChanged)

public:
    /// @param manager the store; not owned.
    explicit DBusInterface(Manager *manager, QObject *parent = nullptr);

    /// True except for a moment in each call, which restarts the idle time.
    [[nodiscard]] bool isIdle() const { return m_isIdle; }

Q_SIGNALS:
    /// isIdle() has changed.
    void isIdleChanged();

public Q_SLOTS:
    /// Sets autostart of an application for a user, or with uid -1 for all users.
    void SetEnabled(int uid, const QString &application, bool value);
    /// The ids of the applications that start automatically for a user.
    QStringList GetEnabled(int uid);

private:
    void pulseIdle();
    void setIdle(bool idle);

    bool m_isIdle = true;
    Manager *const m_manager;
};

} // namespace Autostart

#pragma once

#include <QDBusVirtualObject>
#include <QString>

namespace DBus {

class SessionProxyPrivate;

/// An object of the per-user service under this daemon's own name: passes every method call to the
/// same path there and the answer back, and re-emits the property changes of that path. Register
/// it as a virtual object at path(), single node. Event-loop thread only.
class SessionProxy : public QDBusVirtualObject
{
    Q_OBJECT
    /// True while no forwarded call is outstanding.
    Q_PROPERTY(bool isIdle READ isIdle NOTIFY isIdleChanged)

public:
    /// @param path the one object path that is served, here and at the user service.
    explicit SessionProxy(const QString &path, QObject *parent = nullptr);
    ~SessionProxy() override;

    [[nodiscard]] const QString &path() const;
    [[nodiscard]] bool isIdle() const;
    /// Counts one more outstanding call, or one less.
    void raiseBusy();
    void lowerBusy();

    /// The user service's introspection text of path(); blocks until it answers. Empty, with a log
    /// line, for another path or when it fails.
    [[nodiscard]] QString introspect(const QString &path) const override;
    /// Forwards a method call; leaves every other message alone.
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;

Q_SIGNALS:
    void isIdleChanged();
    /// A reply of the user service carried an object path.
    /// @param creatorId bus name of the client whose call produced it.
    void foundObjectPathInReply(const QString &path, const QString &creatorId);

protected:
    /// Whether a call is answered although this object is gone when the user service answers.
    enum class AnswerAfterwards { Yes, No };
    /// @return false when too many calls wait already; the caller has been told.
    bool forward(const QDBusMessage &message, const QDBusConnection &connection,
                 AnswerAfterwards answerAfterwards);

private:
    SessionProxyPrivate *const d;
};

} // namespace DBus

#pragma once

#include <QDBusVirtualObject>
#include <QString>

namespace DBus {

class SessionProxyPrivate;

/// Makes an object of the per-user service available under this daemon's name: forwards every
/// method call to the same path there, passes the answer back, and re-emits the property changes of
/// that path. Register it as a virtual object at path(), single node. Event-loop thread only.
class SessionProxy : public QDBusVirtualObject
{
    Q_OBJECT
    /// True while no forwarded call is outstanding.
    Q_PROPERTY(bool isIdle READ isIdle NOTIFY isIdleChanged)

public:
    /// @param path object path, here and at the user service.
    explicit SessionProxy(const QString &path, QObject *parent = nullptr);
    ~SessionProxy() override;

    /// The object path, here and at the user service.
    [[nodiscard]] const QString &path() const;
    /// Whether no forwarded call is outstanding.
    [[nodiscard]] bool isIdle() const;
    /// Adds or removes one outstanding call.
    void raiseBusy();
    void lowerBusy();

    /// The introspection XML of path() from the user service. Blocks until it answers. Empty, with
    /// a log line, when `path` is not path() or the call fails.
    [[nodiscard]] QString introspect(const QString &path) const override;
    /// Forwards a method call; ignores other messages.
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;

Q_SIGNALS:
    /// isIdle() has changed.
    void isIdleChanged();
    /// A reply of the user service had an object path.
    /// @param creatorId bus name of the client whose call was answered.
    void foundObjectPathInReply(const QString &path, const QString &creatorId);

protected:
    /// Whether a call is still answered if this object has been destroyed when the user service
    /// answers.
    enum class AnswerAfterwards { Yes, No };
    /// Forwards a method call.
    /// @return false when it was refused; the caller has got an error.
    bool forward(const QDBusMessage &message, const QDBusConnection &connection,
                 AnswerAfterwards answerAfterwards);

private:
    SessionProxyPrivate *const d;
};

} // namespace DBus

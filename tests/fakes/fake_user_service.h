#pragma once

#include "fakes/fake_peer.h"
#include "fakes/recorded_call.h"

#include <functional>

/// Stands in for the per-user service: answers every call below /org/zarn/Orvane with the call's
/// own arguments, unless a test changes that.
class FakeUserService : public FakePeer
{
    Q_OBJECT

public:
    /// Claims the service's name on the connection.
    explicit FakeUserService(const QDBusConnection &bus, QObject *parent = nullptr);
    ~FakeUserService() override;

    RecordedCalls calls;
    /// Leaves every call unanswered until release().
    bool hangs = false;
    /// Makes the answer to a call. By default it has the call's arguments.
    std::function<QDBusMessage(const QDBusMessage &)> answer;

    /// Answers the calls that have no answer yet, in order, and ends `hangs`.
    void release();
    void emitChange(const QString &path, const QString &interface, const QVariantMap &changed,
                    const QStringList &invalidated);

    bool serve(const QDBusMessage &call) override;

private:
    RecordedCalls::size_type m_answered = 0;
};

#pragma once

#include "fakes/fake_peer.h"
#include "fakes/recorded_call.h"
#include "support/literals.h"

#include <QHash>
#include <QPair>
#include <QSet>
#include <QStringList>

#include <functional>

/// Stands in for the parts of systemd's manager that the daemon calls. It records every call, can
/// hold and refuse calls, and can emit signals.
class FakeSystemd : public FakePeer
{
    Q_OBJECT

public:
    struct Unit
    {
        QString name;
        QString activeState;
        QString subState;
        /// The queued job: its id and type; none by default.
        uint job = 0;
        QString jobType{};
    };

    /// Claims systemd's name on the connection.
    explicit FakeSystemd(const QDBusConnection &bus, QObject *parent = nullptr);
    ~FakeSystemd() override;

    RecordedCalls calls;
    /// The units of the listings.
    QVector<Unit> units;
    /// The properties of units, by the unit's name.
    QHash<QString, QVariantMap> properties;
    /// How often a single property has been read.
    int propertyQuestions = 0;
    /// The number of processes of a unit, by the unit's name.
    QHash<QString, int> processes;
    /// The unit files of the listing: path and state.
    QVector<QPair<QString, QString>> unitFiles;
    /// Runs before each call is answered.
    std::function<void(const QDBusMessage &)> onCall;

    /// Leaves calls of this method unanswered until release().
    void hold(const QString &method);
    void release(const QString &method);
    /// Answers calls of this method with an error, or as usual again when the error's name is
    /// empty.
    void refuse(const QString &method, const QString &errorName, const QString &message);
    /// Emits a unit's PropertiesChanged.
    void emitChange(const QString &unitPath, const QVariantMap &changed,
                    const QString &interface = u"org.freedesktop.systemd1.Unit"_s);
    /// Emits JobRemoved for a unit. Job 1 is the one that StartUnit and StopUnit answer with.
    void emitJobRemoved(const QString &unit, const QString &result, uint job = 1);
    /// The object path of a unit.
    static QString pathOf(const QString &unit);

    bool serve(const QDBusMessage &call) override;

private:
    void answer(const QDBusMessage &call);
    void answerGet(const QDBusMessage &call);
    [[nodiscard]] QVariantMap propertiesAt(const QString &path) const;
    QDBusMessage replyTo(const QDBusMessage &call) const;

    QSet<QString> m_held;
    QVector<QDBusMessage> m_waiting;
    QHash<QString, QPair<QString, QString>> m_refusals;
};

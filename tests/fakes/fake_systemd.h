#pragma once

#include "fakes/recorded_call.h"

#include <QDBusConnection>
#include <QDBusVirtualObject>
#include <QHash>
#include <QPair>
#include <QSet>
#include <QStringList>

#include <functional>

/// systemd's manager as far as the daemon calls it. Records every call; can hold, refuse and emit.
class FakeSystemd : public QDBusVirtualObject
{
    Q_OBJECT

public:
    struct Unit
    {
        QString name;
        QString activeState;
        QString subState;
    };

    /// Claims systemd's name on the connection.
    explicit FakeSystemd(const QDBusConnection &bus, QObject *parent = nullptr);
    ~FakeSystemd() override;

    RecordedCalls calls;
    /// What the listings say.
    QVector<Unit> units;
    /// What the properties of a unit are when they are asked for, by the unit's name.
    QHash<QString, QVariantMap> properties;
    /// How often a single property of a unit was asked for.
    int propertyQuestions = 0;
    /// How many processes a unit has, by its name.
    QHash<QString, int> processes;
    /// Path and state.
    QVector<QPair<QString, QString>> unitFiles;
    /// Runs before a call is answered.
    std::function<void(const QDBusMessage &)> onCall;

    /// Answers calls of this method only once released.
    void hold(const QString &method);
    void release(const QString &method);
    /// Answers calls of this method with an error; an empty name undoes it.
    void refuse(const QString &method, const QString &errorName, const QString &message);
    /// Emits a unit's PropertiesChanged.
    void emitChange(const QString &unitPath, const QVariantMap &changed,
                    const QString &interface = QStringLiteral("org.freedesktop.systemd1.Unit"));
    /// Emits JobRemoved for a unit.
    void emitJobRemoved(const QString &unit, const QString &result);
    /// The object path of a unit.
    static QString pathOf(const QString &unit);

    QString introspect(const QString &path) const override;
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;

private:
    void answer(const QDBusMessage &call);
    void answerGet(const QDBusMessage &call);
    [[nodiscard]] QVariantMap propertiesAt(const QString &path) const;
    QDBusMessage replyTo(const QDBusMessage &call) const;

    QDBusConnection m_bus;
    QSet<QString> m_held;
    QVector<QDBusMessage> m_waiting;
    QHash<QString, QPair<QString, QString>> m_refusals;
};

#include "chaos/bad_peer.h"
#include "support/literals.h"

#include <QDBusObjectPath>
#include <QDBusVariant>

#include <array>
#include <utility>

namespace Chaos {

namespace {

/// Draws what a liar says.
class Lies
{
public:
    explicit Lies(std::mt19937 &random)
        : m_random(random)
    {
    }

    int number(int below) { return int(m_random() % uint(below)); }
    bool perhaps() { return number(2) == 0; }

    QVariant value()
    {
        const std::array<QVariant, 6> values{
            QVariant(int(m_random())),
            QVariant(QString(number(2000), QLatin1Char('x'))),
            QVariant(QStringList{u"a"_s, QString()}),
            QVariant(QVariantMap{{u"k"_s, number(9)}}),
            QVariant(true),
            QVariant::fromValue(QDBusObjectPath("/no/such/object"))};
        return values[size_t(number(int(values.size())))];
    }
    QVariantMap properties()
    {
        QVariantMap properties;
        for (const char *name : {"ActiveState", "SubState", "MainPID", "InvocationID", "Nothing"}) {
            if (perhaps())
                properties.insert(QString::fromLatin1(name), value());
        }
        return properties;
    }
    QDBusMessage error(const QDBusMessage &call)
    {
        const std::array<const char *, 4> names{
            "org.freedesktop.systemd1.NoSuchUnit", "org.freedesktop.DBus.Error.Timeout",
            "org.freedesktop.DBus.Error.AccessDenied", "com.example.Odd"};
        return call.createErrorReply(QString::fromLatin1(names[size_t(number(int(names.size())))]),
                                     QString(number(500), QLatin1Char('%')));
    }
    // An error, or a reply of other types than were asked for.
    QDBusMessage answer(const QDBusMessage &call)
    {
        if (perhaps())
            return error(call);
        QVariantList arguments;
        for (int count = 1 + number(3); count > 0; --count)
            arguments.append(value());
        return call.createReply(arguments);
    }

private:
    std::mt19937 &m_random;
};

class BadSystemd : public BadPeer
{
public:
    BadSystemd(Scene &scene, std::mt19937 &random)
        : m_scene(scene)
        , m_lies(random)
    {
    }
    FakePeer &fake() override { return *m_scene.fixture.systemd; }
    std::unique_ptr<FakePeer> replace() override { return m_scene.replaceSystemd(); }

    void lie(const QDBusMessage &call) override
    {
        FakeSystemd &systemd = *m_scene.fixture.systemd;
        if (m_lies.perhaps())
            systemd.emitChange(anyPath(), m_lies.properties(), anyInterface());
        if (m_lies.number(4) == 0)
            systemd.emitJobRemoved(anyUnit(), u"nonsense"_s);
        const int kind = m_lies.number(4);
        if (kind == 0)
            systemd.serve(call);
        else if (kind < 3 && call.member() == QLatin1String("ListUnitsByPatterns"))
            listWrongly(call);
        else if (call.isReplyRequired())
            systemd.send(m_lies.answer(call));
    }

private:
    QString anyUnit()
    {
        const std::array<QString, 6> units{u"ov_task.com.example.App0.task_sync.service"_s,
                                           u"ov_task.com.example.Nobody.task_sync.service"_s,
                                           u"ov_task.service"_s,
                                           u"other.service"_s,
                                           u"ov_task...service"_s,
                                           QString()};
        return units[size_t(m_lies.number(int(units.size())))];
    }
    QString anyPath() { return FakeSystemd::pathOf(anyUnit()); }
    QString anyInterface()
    {
        return m_lies.perhaps() ? u"org.freedesktop.systemd1.Unit"_s
                                : u"org.freedesktop.systemd1.Service"_s;
    }

    // Some of what there is, and some of what there is not.
    void listWrongly(const QDBusMessage &call)
    {
        FakeSystemd &systemd = *m_scene.fixture.systemd;
        const QVector<FakeSystemd::Unit> units = systemd.units;
        systemd.units = units.mid(0, m_lies.number(int(units.size()) + 1));
        for (int count = m_lies.number(300); count > 0; --count)
            systemd.units.append({anyUnit(), m_lies.value().toString(), u"odd"_s});
        systemd.serve(call);
        systemd.units = units;
    }

    Scene &m_scene;
    Lies m_lies;
};

class BadUserService : public BadPeer
{
public:
    BadUserService(Scene &scene, std::mt19937 &random)
        : m_scene(scene)
        , m_lies(random)
    {
        m_service = newService();
    }
    FakePeer &fake() override { return *m_service; }
    std::unique_ptr<FakePeer> replace() override
    {
        m_service->giveUp(u"org.zarn.Orvane.User"_s);
        return std::exchange(m_service, newService());
    }

    void lie(const QDBusMessage &call) override
    {
        if (m_lies.perhaps())
            m_service->emitChange(anyPath(), u"a.b"_s, m_lies.properties(), {u"c"_s});
        if (!call.isReplyRequired())
            return;
        const bool isRegistration = call.member() == QLatin1String("RegisterInvoker");
        if (isRegistration && m_lies.perhaps())
            m_service->send(call.createReply(
                {QVariant::fromValue(QDBusObjectPath(anyPath())), m_lies.value()}));
        else
            m_service->send(m_lies.answer(call));
    }

private:
    std::unique_ptr<FakeUserService> newService()
    {
        auto service = std::make_unique<FakeUserService>(m_scene.fixture.connect());
        service->answer = [](const QDBusMessage &call) {
            const QVariant path = QVariant::fromValue(QDBusObjectPath("/user/session"));
            return call.member() == QLatin1String("RegisterInvoker")
                ? call.createReply({path, QVariantMap()})
                : call.createReply(call.arguments());
        };
        return service;
    }
    // Also those that the daemon has something at.
    QString anyPath()
    {
        const std::array<QString, 5> paths{u"/org/zarn/am"_s, u"/org/zarn/Orvane/Control1"_s,
                                           Fixture::sessionPath(), u"/"_s, u"/user/other"_s};
        return paths[size_t(m_lies.number(int(paths.size())))];
    }

    Scene &m_scene;
    Lies m_lies;
    std::unique_ptr<FakeUserService> m_service;
};

class BadUserManager : public BadPeer
{
public:
    BadUserManager(Scene &scene, std::mt19937 &random)
        : m_scene(scene)
        , m_lies(random)
    {
    }
    FakePeer &fake() override { return *m_scene.fixture.userManager; }
    std::unique_ptr<FakePeer> replace() override
    {
        std::unique_ptr<FakeUserManager> &manager = m_scene.fixture.userManager;
        manager->giveUp(u"org.sailfishos.usermanager"_s);
        return std::exchange(manager,
                             std::make_unique<FakeUserManager>(m_scene.fixture.connect(), u"list"_s,
                                                               QStringList{u"100000"_s}));
    }

    void lie(const QDBusMessage &call) override
    {
        FakeUserManager &manager = *m_scene.fixture.userManager;
        const std::array<const char *, 3> modes{"error", "malformed", "empty"};
        const int kind = m_lies.number(4);
        if (kind == 3) {
            manager.send(m_lies.answer(call));
            return;
        }
        manager.behave(QString::fromLatin1(modes[size_t(kind)]));
        manager.serve(call);
    }

private:
    Scene &m_scene;
    Lies m_lies;
};

} // namespace

std::unique_ptr<BadPeer> badSystemd(Scene &scene, std::mt19937 &random)
{
    return std::make_unique<BadSystemd>(scene, random);
}

std::unique_ptr<BadPeer> badUserService(Scene &scene, std::mt19937 &random)
{
    return std::make_unique<BadUserService>(scene, random);
}

std::unique_ptr<BadPeer> badUserManager(Scene &scene, std::mt19937 &random)
{
    return std::make_unique<BadUserManager>(scene, random);
}

} // namespace Chaos

#include "fakes/fake_systemd.h"
#include "support/literals.h"

#include <QDBusArgument>
#include <QDBusError>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVariant>

#include <utility>

namespace {

/// On the bus: (ssssssouso)
struct ListedUnit
{
    FakeSystemd::Unit unit;
};

/// On the bus: (ss)
struct ListedFile
{
    QString path;
    QString state;
};

/// On the bus: (sss)
struct FileChange
{
    QString type;
    QString name;
    QString destination;
};

/// On the bus: (sus)
struct UnitProcess
{
    uint pid = 0;
};

} // namespace

Q_DECLARE_METATYPE(UnitProcess)
Q_DECLARE_METATYPE(ListedUnit)
Q_DECLARE_METATYPE(ListedFile)
Q_DECLARE_METATYPE(FileChange)

static QDBusArgument &operator<<(QDBusArgument &argument, const ListedUnit &listed)
{
    argument.beginStructure();
    argument << listed.unit.name << u"A unit"_s << u"loaded"_s << listed.unit.activeState
             << listed.unit.subState << QString()
             << QDBusObjectPath(FakeSystemd::pathOf(listed.unit.name)) << listed.unit.job
             << listed.unit.jobType << QDBusObjectPath("/");
    argument.endStructure();
    return argument;
}

// Nothing reads these types; QtDBus requires both directions.
static const QDBusArgument &operator>>(const QDBusArgument &argument, ListedUnit &)
{
    return argument;
}

static QDBusArgument &operator<<(QDBusArgument &argument, const ListedFile &file)
{
    argument.beginStructure();
    argument << file.path << file.state;
    argument.endStructure();
    return argument;
}

static const QDBusArgument &operator>>(const QDBusArgument &argument, ListedFile &)
{
    return argument;
}

static QDBusArgument &operator<<(QDBusArgument &argument, const UnitProcess &process)
{
    argument.beginStructure();
    argument << u"/group"_s << process.pid << u"program"_s;
    argument.endStructure();
    return argument;
}

static const QDBusArgument &operator>>(const QDBusArgument &argument, UnitProcess &)
{
    return argument;
}

static QDBusArgument &operator<<(QDBusArgument &argument, const FileChange &change)
{
    argument.beginStructure();
    argument << change.type << change.name << change.destination;
    argument.endStructure();
    return argument;
}

static const QDBusArgument &operator>>(const QDBusArgument &argument, FileChange &)
{
    return argument;
}

FakeSystemd::FakeSystemd(const QDBusConnection &bus, QObject *parent)
    : FakePeer(bus, parent)
{
    qDBusRegisterMetaType<ListedUnit>();
    qDBusRegisterMetaType<QVector<ListedUnit>>();
    qDBusRegisterMetaType<ListedFile>();
    qDBusRegisterMetaType<QVector<ListedFile>>();
    qDBusRegisterMetaType<FileChange>();
    qDBusRegisterMetaType<QVector<FileChange>>();
    qDBusRegisterMetaType<UnitProcess>();
    qDBusRegisterMetaType<QVector<UnitProcess>>();
    m_bus.registerVirtualObject(u"/org/freedesktop/systemd1"_s, this, QDBusConnection::SubPath);
    m_bus.registerService(u"org.freedesktop.systemd1"_s);
}

FakeSystemd::~FakeSystemd() { giveUp(u"org.freedesktop.systemd1"_s); }

void FakeSystemd::hold(const QString &method) { m_held.insert(method); }

void FakeSystemd::release(const QString &method)
{
    m_held.remove(method);
    const auto waiting = std::exchange(m_waiting, {});
    for (const QDBusMessage &call : waiting) {
        if (call.member() == method)
            answer(call);
        else
            m_waiting.append(call);
    }
}

void FakeSystemd::refuse(const QString &method, const QString &errorName, const QString &message)
{
    if (errorName.isEmpty())
        m_refusals.remove(method);
    else
        m_refusals.insert(method, {errorName, message});
}

void FakeSystemd::emitChange(const QString &unitPath, const QVariantMap &changed,
                             const QString &interface)
{
    QDBusMessage signal = QDBusMessage::createSignal(unitPath, u"org.freedesktop.DBus.Properties"_s,
                                                     u"PropertiesChanged"_s);
    signal << interface << changed << QStringList();
    m_bus.send(signal);
}

void FakeSystemd::emitJobRemoved(const QString &unit, const QString &result, uint job)
{
    QDBusMessage signal = QDBusMessage::createSignal(
        u"/org/freedesktop/systemd1"_s, u"org.freedesktop.systemd1.Manager"_s, u"JobRemoved"_s);
    const QDBusObjectPath path(u"/org/freedesktop/systemd1/job/%1"_s.arg(job));
    signal << job << QVariant::fromValue(path) << unit << result;
    m_bus.send(signal);
}

QString FakeSystemd::pathOf(const QString &unit)
{
    if (unit.isEmpty())
        return u"/"_s;
    QString path = u"/org/freedesktop/systemd1/unit/"_s;
    for (const QChar character : unit)
        path += character.isLetterOrNumber()
            ? QString(character)
            : u"_%1"_s.arg(character.unicode(), 2, 16, QLatin1Char('0'));
    return path;
}

QVariantMap FakeSystemd::propertiesAt(const QString &path) const
{
    for (auto unit = properties.constBegin(); unit != properties.constEnd(); ++unit) {
        if (pathOf(unit.key()) == path)
            return *unit;
    }
    return {};
}

bool FakeSystemd::serve(const QDBusMessage &message)
{
    if (message.member() == QLatin1String("GetAll")) {
        m_bus.send(message.createReply(propertiesAt(message.path())));
        return true;
    }
    if (message.member() == QLatin1String("Get")) {
        answerGet(message);
        return true;
    }
    if (message.interface() != QLatin1String("org.freedesktop.systemd1.Manager"))
        return false;
    calls.append(message);
    if (onCall)
        onCall(message);
    if (m_held.contains(message.member()))
        m_waiting.append(message);
    else
        answer(message);
    return true;
}

void FakeSystemd::answerGet(const QDBusMessage &call)
{
    ++propertyQuestions;
    const QVariant value = propertiesAt(call.path()).value(call.arguments().value(1).toString());
    m_bus.send(value.isValid() ? call.createReply(QVariant::fromValue(QDBusVariant(value)))
                               : call.createErrorReply(QDBusError::UnknownProperty, u"none"_s));
}

void FakeSystemd::answer(const QDBusMessage &call)
{
    if (!call.isReplyRequired())
        return;
    const auto refusal = m_refusals.constFind(call.member());
    m_bus.send(refusal == m_refusals.constEnd()
                   ? replyTo(call)
                   : call.createErrorReply(refusal->first, refusal->second));
}

QDBusMessage FakeSystemd::replyTo(const QDBusMessage &call) const
{
    const QString method = call.member();
    if (method == QLatin1String("ListUnitsByPatterns")) {
        QVector<ListedUnit> listed;
        for (const Unit &unit : units)
            listed.append({unit});
        return call.createReply(QVariant::fromValue(listed));
    }
    if (method == QLatin1String("ListUnitFilesByPatterns")) {
        QVector<ListedFile> listed;
        for (const auto &file : unitFiles)
            listed.append({file.first, file.second});
        return call.createReply(QVariant::fromValue(listed));
    }
    if (method == QLatin1String("GetUnitProcesses")) {
        const int count = processes.value(call.arguments().constFirst().toString());
        QVector<UnitProcess> listed;
        for (int pid = 1; pid <= count; ++pid)
            listed.append(UnitProcess{static_cast<uint>(pid)});
        return call.createReply(QVariant::fromValue(listed));
    }
    if (method == QLatin1String("StartUnit") || method == QLatin1String("StopUnit"))
        return call.createReply(
            QVariant::fromValue(QDBusObjectPath("/org/freedesktop/systemd1/job/1")));
    if (method == QLatin1String("EnableUnitFiles"))
        return call.createReply({true, QVariant::fromValue(QVector<FileChange>())});
    if (method == QLatin1String("DisableUnitFiles"))
        return call.createReply(QVariant::fromValue(QVector<FileChange>()));
    return call.createReply();
}

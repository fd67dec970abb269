// The stand-in for systemd as a program: really runs the commands of units, unconfined and as its
// own user.
//
//     fake-systemd
//
// Units are read from below ORVANE_ROOTFS. Of a unit's command line only the program after the
// sandbox's "--" is run, with the unit's environment. Its output is part of this program's output.

#include "fakes/fake_systemd.h"
#include "support/literals.h"

#include <QCoreApplication>
#include <QFile>
#include <QHash>
#include <QProcess>
#include <QUuid>

#include <algorithm>
#include <cctype>

namespace {

QString unitPathOf(const QString &name)
{
    QString path = u"/org/freedesktop/systemd1/unit/"_s;
    const QByteArray bytes = name.toUtf8();
    for (const char byte : bytes) {
        if (isalnum(static_cast<unsigned char>(byte)) != 0)
            path += QLatin1Char(byte);
        else
            path += u"_%1"_s.arg(static_cast<uchar>(byte), 2, 16, QLatin1Char('0'));
    }
    return path;
}

// The value of a key in a unit file; empty when it is not there.
QString unitValue(const QString &unit, const QString &key)
{
    QFile file(qEnvironmentVariable("ORVANE_ROOTFS") + u"/etc/systemd/system/"_s + unit);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        if (line.startsWith(key + QLatin1Char('=')))
            return line.mid(key.size() + 1);
    }
    return {};
}

class UnitRunner : public QObject
{
public:
    explicit UnitRunner(FakeSystemd *systemd)
        : m_systemd(systemd)
    {
        systemd->onCall = [this](const QDBusMessage &call) {
            const QString unit = call.arguments().value(0).toString();
            if (call.member() == QLatin1String("StartUnit"))
                start(unit);
            else if (call.member() == QLatin1String("StopUnit"))
                stop(unit);
        };
    }

private:
    void start(const QString &unit)
    {
        QStringList words = unitValue(unit, u"ExecStart"_s).split(QLatin1Char(' '));
        words = words.mid(words.indexOf(u"--"_s) + 1);
        auto *process = new QProcess(this);
        process->setProcessChannelMode(QProcess::ForwardedChannels);
        process->setEnvironment(QProcess::systemEnvironment()
                                + unitValue(unit, u"Environment"_s).split(QLatin1Char(' ')));
        const QByteArray run = QUuid::createUuid().toRfc4122();
        connect(process, &QProcess::started, this, [this, process, unit, run] {
            announce({unit, u"active"_s, u"running"_s}, run,
                     static_cast<uint>(process->processId()));
        });
        connect(process, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), this,
                [this, unit, run] {
                    announce({unit, u"inactive"_s, u"dead"_s}, run, 0);
                });
        m_processes.insert(unit, process);
        process->start(words.takeFirst(), words);
    }

    void stop(const QString &unit)
    {
        if (QProcess *process = m_processes.take(unit))
            process->terminate();
    }

    void announce(const FakeSystemd::Unit &unit, const QByteArray &run, uint pid)
    {
        const QVariantMap service{{u"MainPID"_s, pid}, {u"ExecMainPID"_s, pid}};
        const QVariantMap state{{u"ActiveState"_s, unit.activeState},
                                {u"SubState"_s, unit.subState},
                                {u"InvocationID"_s, run}};
        QVector<FakeSystemd::Unit> &units = m_systemd->units;
        units.erase(
            std::remove_if(units.begin(), units.end(),
                           [&](const FakeSystemd::Unit &other) { return other.name == unit.name; }),
            units.end());
        if (pid > 0)
            units.append(unit);
        QVariantMap &known = m_systemd->properties[unit.name];
        known = service;
        for (auto value = state.constBegin(); value != state.constEnd(); ++value)
            known.insert(value.key(), *value);
        const QString path = unitPathOf(unit.name);
        m_systemd->emitChange(path, service, u"org.freedesktop.systemd1.Service"_s);
        m_systemd->emitChange(path, state);
    }

    FakeSystemd *const m_systemd;
    QHash<QString, QProcess *> m_processes;
};

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    FakeSystemd systemd(QDBusConnection::systemBus());
    const UnitRunner runner(&systemd);
    return QCoreApplication::exec();
}

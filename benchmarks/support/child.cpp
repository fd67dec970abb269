#include "support/child.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

namespace Bench {

namespace {

QByteArray contentsOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QStringList threadsOf(qint64 pid)
{
    const QDir folder(QStringLiteral("/proc/%1/task").arg(pid));
    QStringList threads;
    for (const QString &thread : folder.entryList(QDir::Dirs | QDir::NoDotAndDotDot))
        threads.append(folder.filePath(thread));
    return threads;
}

// The number in a line "Name:  number …"; -1 when there is no such line.
qint64 numberInLine(const QByteArray &text, const QByteArray &name)
{
    for (const QByteArray &line : text.split('\n')) {
        if (line.startsWith(name + ':'))
            return line.mid(name.size() + 1).simplified().split(' ').constFirst().toLongLong();
    }
    return -1;
}

} // namespace

double processorMs(qint64 pid)
{
    double nanoseconds = 0;
    for (const QString &thread : threadsOf(pid))
        nanoseconds +=
            contentsOf(thread + QStringLiteral("/schedstat")).split(' ').constFirst().toDouble();
    return nanoseconds / 1e6;
}

qint64 wakeUps(qint64 pid)
{
    qint64 count = 0;
    for (const QString &thread : threadsOf(pid))
        count +=
            numberInLine(contentsOf(thread + QStringLiteral("/status")), "voluntary_ctxt_switches");
    return count;
}

qint64 memoryKb(qint64 pid, const QString &file, const QString &line)
{
    return numberInLine(contentsOf(QStringLiteral("/proc/%1/%2").arg(pid).arg(file)),
                        line.toLatin1());
}

void resetPeakMemory(qint64 pid)
{
    QFile file(QStringLiteral("/proc/%1/clear_refs").arg(pid));
    if (!file.open(QIODevice::WriteOnly) || file.write("5") != 1)
        qWarning("the peak memory of %lld cannot be reset", static_cast<long long>(pid));
}

QString programBeside(const QString &name)
{
    return QCoreApplication::applicationDirPath() + QLatin1Char('/') + name;
}

QVector<double> numbersOf(const QString &program, const QStringList &arguments,
                          const QStringList &environment)
{
    DeathBoundProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.setEnvironment(QProcess::systemEnvironment() + environment);
    process.start(program, arguments);
    process.closeWriteChannel();
    if (!process.waitForFinished(-1) || process.exitCode() != 0
        || process.exitStatus() != QProcess::NormalExit) {
        qWarning("%s failed", qPrintable(program));
        return {};
    }
    QVector<double> numbers;
    for (const QByteArray &word : process.readAllStandardOutput().simplified().split(' '))
        numbers.append(word.toDouble());
    return numbers;
}

Child::Child() { m_process.setStandardErrorFile(QProcess::nullDevice()); }

Child::~Child()
{
    m_process.kill();
    m_process.waitForFinished();
}

void Child::start(const QString &program, const QStringList &arguments,
                  const QStringList &environment)
{
    m_process.setEnvironment(QProcess::systemEnvironment() + environment);
    m_process.start(program, arguments);
    if (!m_process.waitForStarted())
        qFatal("%s does not start", qPrintable(program));
}

void Child::end()
{
    m_process.terminate();
    if (!m_process.waitForFinished(240000))
        qFatal("%s does not end", qPrintable(m_process.program()));
}

} // namespace Bench

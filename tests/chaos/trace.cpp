#include "chaos/trace.h"

#include "support/fixture.h"
#include "support/literals.h"

#include <QDir>
#include <QFile>
#include <QHash>
#include <QRegularExpression>

#include <cctype>
#include <csignal>

namespace Chaos {

namespace {

QByteArray fileText(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool isTraced(qint64 process, bool inAllThreads)
{
    const QString threads = u"/proc/%1/task"_s.arg(process);
    const QStringList ids = inAllThreads
        ? QDir(threads).entryList(QDir::Dirs | QDir::NoDotAndDotDot)
        : QStringList{QString::number(process)};
    for (const QString &id : ids) {
        if (fileText(u"%1/%2/status"_s.arg(threads, id)).contains("\nTracerPid:\t0\n"))
            return false;
    }
    return !ids.isEmpty();
}

bool isZombie(qint64 process)
{
    return fileText(u"/proc/%1/status"_s.arg(process)).contains("\nState:\tZ");
}

} // namespace

Trace::Trace(const QString &logFile, const QStringList &calls, const Injection &injection)
    : m_logFile(logFile)
    , m_calls(calls)
    , m_injection(injection)
{
    QFile::remove(logFile);
}

Trace::~Trace() { finish(true); }

QStringList Trace::options() const
{
    QStringList options{u"-y"_s, u"-q"_s,   u"-s"_s, u"64"_s,
                        u"-o"_s, m_logFile, u"-e"_s, u"trace=?"_s + m_calls.join(u",?"_s)};
    // Files are the first thread's matter. Each thread has a count of its own, so an error would
    // also meet what another thread writes to a pipe.
    if (!m_injection.effect.startsWith(QLatin1String("error=")))
        options << u"-f"_s;
    if (!m_injection.call.isEmpty())
        options << u"-e"_s
                << u"inject=%1:%2:when=%3"_s.arg(m_injection.call, m_injection.effect)
                       .arg(m_injection.when)
                + (m_injection.stays ? u"+"_s : QString());
    return options;
}

bool Trace::attach(qint64 process)
{
    QObject::connect(&m_strace, &QProcess::readyReadStandardError, &m_strace, [this] {
        if (m_strace.readAllStandardError().contains("ptrace_syscall_info"))
            giveUp();
    });
    m_strace.start(u"strace"_s, options() << u"-p"_s << QString::number(process));
    // Its parent cannot have it as long as strace does not let it go.
    constexpr int lookMs = 100;
    constexpr int mostLooks = 10;
    QObject::connect(&m_lookout, &QTimer::timeout, &m_strace, [this, process] {
        m_looksAtAZombie = isZombie(process) ? m_looksAtAZombie + 1 : 0;
        if (m_looksAtAZombie == mostLooks)
            giveUp();
    });
    m_lookout.start(lookMs);
    const bool inAllThreads = options().contains(u"-f"_s);
    return Fixture::waitUntil([&] {
               return isTraced(process, inAllThreads) || m_strace.state() == QProcess::NotRunning;
           })
        && isTraced(process, inAllThreads);
}

QStringList Trace::wrapper() const { return QStringList{u"strace"_s, u"-D"_s} + options(); }

void Trace::giveUp()
{
    m_isConfused = true;
    m_strace.kill();
}

void Trace::finish(bool isRunning)
{
    m_lookout.stop();
    if (m_isConfused) {
        m_strace.kill();
        m_strace.waitForFinished();
        return;
    }
    if (m_strace.state() != QProcess::NotRunning) {
        constexpr int momentMs = 100;
        constexpr int endMs = 2000;
        for (int waitedMs = 0;; waitedMs += momentMs) {
            // It can miss a signal that comes right before it waits.
            if (isRunning)
                ::kill(static_cast<pid_t>(m_strace.processId()), SIGINT);
            if (waitedMs >= endMs)
                giveUp();
            if (m_strace.waitForFinished(momentMs) || m_strace.state() == QProcess::NotRunning)
                return;
        }
    }
    // The first line is of the process, the others may be of its threads. Without other threads no
    // line has a number.
    const auto isWhole = [this] {
        const QByteArray text = log();
        const QByteArray first = text.left(text.indexOf(' ') + 1);
        const QByteArray end =
            !first.isEmpty() && isdigit(first.at(0)) != 0 ? first + "+++ " : "+++ ";
        return hasKilled() || text.startsWith(end) || text.contains('\n' + end);
    };
    if (!isRunning)
        (void)Fixture::waitUntil(isWhole);
}

QByteArray Trace::log() const { return fileText(m_logFile); }

QVector<TracedCall> Trace::calls() const
{
    static const QRegularExpression entered(u"^(\\d+ +)?([a-z0-9_]+)\\("_s);
    QHash<QString, int> counts;
    QVector<TracedCall> calls;
    const QStringList lines = QString::fromUtf8(log()).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        const QRegularExpressionMatch match = entered.match(line);
        if (!match.hasMatch())
            continue;
        const QString name = match.captured(2);
        const int when = ++counts[match.captured(1) + name];
        calls.append({name, when, line, line.endsWith(QLatin1String("(INJECTED)"))});
    }
    return calls;
}

bool Trace::hasKilled() const { return log().contains("+++ killed by SIGKILL +++"); }

} // namespace Chaos

#include "cli/run_result.h"

#include <QHash>

#include <csignal>
#include <cstring>

namespace Cli {

namespace {

// The sandbox reports a signal that killed the program in the same way as a shell: with the sum of
// this and the signal's number.
constexpr int killed = 128;

// The meanings of systemd's own exit statuses that a task can end with.
QString meaningOf(int status)
{
    static const QHash<int, QString> meanings{
        {200, QStringLiteral("its working directory does not exist")},
        {203, QStringLiteral("its program cannot be run")},
        {216, QStringLiteral("its group does not exist")},
        {217, QStringLiteral("its user does not exist")},
        {226, QStringLiteral("its file system namespace cannot be set up")}};
    if (status > killed && status <= killed + SIGRTMAX)
        return QStringLiteral(" (signal %1, %2)")
            .arg(status - killed)
            .arg(QString::fromLocal8Bit(strsignal(status - killed)));
    const QString meaning = meanings.value(status);
    return meaning.isEmpty() ? meaning : QStringLiteral(" (%1)").arg(meaning);
}

QString wordsFor(const QString &result)
{
    static const QHash<QString, QString> words{
        {QStringLiteral("oom-kill"), QStringLiteral("out of memory")},
        {QStringLiteral("timeout"), QStringLiteral("out of time")},
        {QStringLiteral("watchdog"), QStringLiteral("its watchdog timed out")},
        {QStringLiteral("start-limit-hit"), QStringLiteral("started too often")},
        {QStringLiteral("resources"), QStringLiteral("systemd lacked resources for it")},
        {QStringLiteral("dependency"), QStringLiteral("a unit that it needs did not start")},
        {QStringLiteral("canceled"), QStringLiteral("its start was cancelled")},
        {QStringLiteral("success"), QStringLiteral("exit status 0")},
        {QString(), QStringLiteral("unknown")}};
    return words.value(result, result);
}

} // namespace

void RunResult::update(const QVariantMap &properties)
{
    result = properties.value(QStringLiteral("Result"), result).toString();
    code = properties.value(QStringLiteral("ExecMainCode"), code).toInt();
    status = properties.value(QStringLiteral("ExecMainStatus"), status).toInt();
    const auto read = [&properties](const char *name, quint64 &moment) {
        moment = properties.value(QString::fromLatin1(name), moment).toULongLong();
    };
    read("ExecMainStartTimestampMonotonic", processStart);
    read("ExecMainExitTimestampMonotonic", processEnd);
    read("ActiveExitTimestampMonotonic", unitEnd);
    // An earlier end belongs to another run: this one becomes active only at its end, or never.
    wasStopped = unitEnd > processStart && unitEnd < processEnd;
}

// Whether the program ended on the signal to stop. The sandbox then exits with the status that a
// shell has for this signal.
bool RunResult::hasObeyed() const
{
    return wasStopped && result == QLatin1String("exit-code") && code == CLD_EXITED
        && status == killed + SIGTERM;
}

bool RunResult::isFailure() const
{
    return !result.isEmpty() && result != QLatin1String("success") && !hasObeyed();
}

bool RunResult::wasKilled() const { return code == CLD_KILLED || code == CLD_DUMPED; }

QString RunResult::toString() const
{
    if (hasObeyed())
        return QStringLiteral("stopped");
    const bool isOfProcess = result == QLatin1String("exit-code")
        || result == QLatin1String("signal") || result == QLatin1String("core-dump");
    if (!isOfProcess)
        return wordsFor(result);
    if (!wasKilled())
        return QStringLiteral("exit status %1%2").arg(status).arg(meaningOf(status));
    return QStringLiteral("killed by signal %1 (%2)")
        .arg(status)
        .arg(QString::fromLocal8Bit(strsignal(status)));
}

void RunResult::addTo(QJsonObject &object) const
{
    object.insert(QStringLiteral("result"), result);
    if (wasKilled())
        object.insert(QStringLiteral("signal"), status);
    else if (code != 0)
        object.insert(QStringLiteral("exitStatus"), status);
    object.insert(QStringLiteral("reason"), toString());
}

} // namespace Cli

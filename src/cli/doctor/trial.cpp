#include "cli/doctor/trial.h"

#include "common/Core/rules.h"
#include "common/places.h"
#include "common/qt_version.h"

#include <QDir>
#include <QFileInfo>

#include <grp.h>
#include <optional>
#include <pwd.h>
#include <unistd.h>

namespace Cli {

namespace {

constexpr int trialTimeoutMs = 20000;

/// The identity that a unit with User= runs with.
struct Runner
{
    uid_t uid;
    gid_t gid;
    QString name;
    QString home;
    QString shell;
};

Runner runnerOf(const passwd &account)
{
    return {account.pw_uid, account.pw_gid, QString::fromUtf8(account.pw_name),
            QString::fromUtf8(account.pw_dir), QString::fromUtf8(account.pw_shell)};
}

// Debian and the platform give lower uids to system users.
bool isOrdinary(const passwd &account)
{
    constexpr uid_t first = 1000;
    constexpr uid_t nobody = 65534;
    return account.pw_uid >= first && account.pw_uid != nobody
        && QFileInfo(QString::fromUtf8(account.pw_dir)).isDir();
}

// The tool has only one thread.
// NOLINTBEGIN(concurrency-mt-unsafe)
Runner runner()
{
    std::optional<Runner> found;
    setpwent();
    while (const passwd *account = getuid() == 0 && !found ? getpwent() : nullptr) {
        if (isOrdinary(*account))
            found = runnerOf(*account);
    }
    endpwent();
    const passwd *own = found ? nullptr : getpwuid(getuid());
    if (own != nullptr)
        found = runnerOf(*own);
    return found.value_or(Runner{getuid(), getgid(), QString::number(getuid()), {}, {}});
}
// NOLINTEND(concurrency-mt-unsafe)

/// A process that root starts as another user.
class UserProcess : public PreparedProcess
{
public:
    explicit UserProcess(const Runner &runner)
        : PreparedProcess([uid = runner.uid, gid = runner.gid] { become(uid, gid); })
    {
        setProcessChannelMode(QProcess::MergedChannels);
        setStandardInputFile(QProcess::nullDevice());
        setWorkingDirectory(QStringLiteral("/"));
        setEnvironment(
            {QStringLiteral("HOME=") + runner.home, QStringLiteral("USER=") + runner.name,
             QStringLiteral("LOGNAME=") + runner.name, QStringLiteral("SHELL=") + runner.shell,
             QStringLiteral("PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin")});
    }

private:
    static void become(uid_t uid, gid_t gid)
    {
        if (uid == getuid())
            return;
        if (setgroups(0, nullptr) != 0 || setgid(gid) != 0 || setuid(uid) != 0)
            _exit(1);
    }
};

DeclaredTask trialTask()
{
    DeclaredTask task;
    task.taskId = Core::ApplicationTaskId(QStringLiteral("org.zarn.Doctor.task_trial"));
    task.exec = QStringLiteral("/usr/bin/true");
    return task;
}

Rendering planned(const Places &places, bool homeless)
{
    Client::StartRequest request;
    request.user = QStringLiteral("nobody");
    request.homeless = homeless;
    return render(trialTask(), request, places);
}

QStringList wordsAfter(const QString &option, const QStringList &argv)
{
    QStringList values;
    for (const QString &word : argv) {
        if (word.startsWith(option))
            values.append(word.mid(option.size()));
    }
    return values;
}

// Those of these directories and their parents that do not exist, outermost first.
QStringList missingAlong(const QStringList &folders)
{
    QStringList missing;
    for (const QString &folder : folders) {
        QStringList way;
        for (QString path = folder; !QFileInfo::exists(path); path = QFileInfo(path).path())
            way.prepend(path);
        missing += way;
    }
    return missing;
}

void removeEmpty(const QStringList &folders)
{
    for (auto folder = folders.crbegin(); folder != folders.crend(); ++folder)
        (void)QDir().rmdir(*folder);
}

QString complaintIn(const QString &text)
{
    const QStringList lines = text.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    const QStringList errors = lines.filter(QStringLiteral("Error"));
    return errors.isEmpty() ? lines.value(0) : errors.constFirst();
}

QString complaintOf(QProcess &process)
{
    if (process.error() == QProcess::FailedToStart)
        return process.errorString();
    if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished();
        return QStringLiteral("it did not end within %1 seconds").arg(trialTimeoutMs / 1000);
    }
    if (process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0)
        return {};
    const QString message = complaintIn(QString::fromUtf8(process.readAll()));
    return message.isEmpty() ? QStringLiteral("it ended with status %1").arg(process.exitCode())
                             : message.trimmed();
}

} // namespace

QString Trial::sandbox() const { return argv().value(0); }

QStringList Trial::argv() const
{
    QStringList words;
    for (const Core::PlannedWord &word : ordinary.plan.argv)
        words.append(word.text);
    return words;
}

QStringList Trial::emptyFolders() const
{
    return wordsAfter(QStringLiteral("--blacklist="), argv());
}

QStringList Trial::permissionFiles() const
{
    QStringList files;
    for (const Core::PlannedWord &word : ordinary.plan.argv + homeless.plan.argv) {
        if (word.origin.kind == Core::Origin::Permission)
            files.append(word.origin.file);
    }
    return files;
}

QStringList Trial::missingPermissions() const
{
    QStringList names;
    for (const Core::Finding &finding : ordinary.findings + homeless.findings) {
        if (finding.rule == QLatin1String(Core::Rules::unknownPermission.id))
            names.append(finding.key);
    }
    return names;
}

QString Trial::bindsUnit() const
{
    const QStringList lines = QString::fromUtf8(ordinary.plan.unit()).split(QLatin1Char('\n'));
    return wordsAfter(QStringLiteral("After="), lines).value(0);
}

Trial plannedTrial(const Places &places)
{
    Places unexamined = places;
    // The trial's own program need not exist on the system.
    unexamined.programsAreExamined = false;
    return {planned(unexamined, false), planned(unexamined, true)};
}

TrialRun runTrial(const Trial &trial)
{
    const Runner user = runner();
    QStringList folders = wordsAfter(QStringLiteral("--mkdir="), trial.argv());
    folders.replaceInStrings(QStringLiteral("${HOME}"), user.home);
    const QStringList missing = missingAlong(folders);
    UserProcess process(user);
    process.start(trial.sandbox(), trial.argv().mid(1));
    process.waitForFinished(trialTimeoutMs);
    const QString complaint = complaintOf(process);
    removeEmpty(missing);
    return {complaint, user.name};
}

QString firstLineOf(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(program, arguments);
    if (!process.waitForFinished(trialTimeoutMs)) {
        process.kill();
        process.waitForFinished();
        return {};
    }
    return QString::fromUtf8(process.readAll()).section(QLatin1Char('\n'), 0, 0).trimmed();
}

} // namespace Cli

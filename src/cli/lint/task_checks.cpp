#include "cli/lint/task_checks.h"

#include "cli/lint/rules.h"
#include "plan/task_names.h"
#include "plan/unit_checks.h"

#include <QDir>
#include <QRegularExpression>

#include <algorithm>

namespace Cli {

namespace {

using TaskInfo = Core::ApplicationInfo::TaskInfo;

// The checks of one task, which share their arguments.
class TaskChecks
{
public:
    TaskChecks(const TaskInfo &task, const EntryFile &file, const KnownPlaces &places,
               Collected &findings)
        : m_task(task)
        , m_file(file)
        , m_places(places)
        , m_findings(findings)
    {
    }
    void checkId() const;
    void checkType() const;
    void checkExec() const;
    void checkPermissions() const;

private:
    [[nodiscard]] Core::FindingPlace placeOf(const QString &key) const;
    void add(const Core::Rule &rule, const QString &key, const QString &text) const
    {
        m_findings.add(rule, placeOf(key), text);
    }
    void checkProgram(const QString &program) const;
    [[nodiscard]] bool isHidden(const QString &program) const;
    void checkArgument(const QString &argument) const;
    void addRefusals() const;

    const TaskInfo &m_task;
    const EntryFile &m_file;
    const KnownPlaces &m_places;
    Collected &m_findings;
};

QString execKey() { return QStringLiteral("Exec"); }

bool isFieldCode(const QString &word)
{
    return word.size() == 2 && word.at(0) == QLatin1Char('%')
        && QStringLiteral("fFuUdDnNickvm").contains(word.at(1));
}

// Whether a word has a single %; two of them stand for the character itself.
bool hasSpecifier(const QString &word)
{
    QString rest = word;
    return rest.remove(QStringLiteral("%%")).contains(QLatin1Char('%'));
}

// The application's own folders and those that it shares with its organisation, below each of
// these.
QStringList foldersOf(const Core::ApplicationId &id, const QStringList &above)
{
    QStringList folders;
    for (const QString &folder : above) {
        const QString ofAll = QStringLiteral("%1/%2/").arg(folder, id.organisation().toString());
        folders << ofAll + id.name().toString() << ofAll + QStringLiteral("common");
    }
    return folders;
}

// Whether systemd expands a variable in a word: for ${NAME}, and for a $ at the beginning of the
// word, which it takes for $NAME whatever follows. It keeps any other $, and one of two.
bool hasVariable(const QString &word)
{
    QString rest = word;
    rest.remove(QLatin1Char('"')).remove(QLatin1Char('\''));
    if (rest.startsWith(QLatin1Char('$')) && !rest.startsWith(QLatin1String("$$")))
        return true;
    return rest.remove(QStringLiteral("$$")).contains(QLatin1String("${"));
}

bool fitsObjectPath(const QString &type)
{
    const QStringList parts = type.split(QLatin1Char('/'));
    return std::all_of(parts.begin(), parts.end(), [](const QString &part) {
        return !part.isEmpty() && std::all_of(part.begin(), part.end(), [](QChar c) {
            return c.unicode() < 0x80 && (c.isLetterOrNumber() || c == QLatin1Char('_'));
        });
    });
}

// A key that the task's group does not have may be the main group's.
Core::FindingPlace TaskChecks::placeOf(const QString &key) const
{
    const QString main = QStringLiteral("Desktop Entry");
    if (const int line = m_file.text().lineOf(m_task.group, key))
        return {m_task.file, m_task.group, key, line};
    if (key == execKey() && m_file.text().lineOf(main, key) != 0)
        return {m_task.file, main, key, m_file.text().lineOf(main, key)};
    return {m_task.file, m_task.group, key, m_file.text().lineOf(m_task.group)};
}

void TaskChecks::checkId() const
{
    constexpr int longestName = 255;
    const auto length = Core::unitNameOf(m_task.taskId.toString()).toUtf8().size();
    if (length > longestName)
        add(LintRules::idTooLong, {}, QStringLiteral("The unit's name has %1 bytes").arg(length));
}

void TaskChecks::checkType() const
{
    const QString key = QStringLiteral("Type");
    const QString &type = m_task.type;
    if (type.isEmpty())
        add(LintRules::typeMissing, key, QStringLiteral("The task has no Type"));
    else if (!fitsObjectPath(type))
        add(LintRules::typeObjectPath, key,
            QStringLiteral("Type \"%1\" cannot be part of an object path").arg(type));
    else if (!m_places.hasTaskType(type))
        add(LintRules::typeUnserved, key,
            QStringLiteral("There is no task-types/%1.conf").arg(type));
}

// Checks the id and the command line separately, to find which of them is refused.
void TaskChecks::addRefusals() const
{
    TaskInfo idAlone = m_task;
    idAlone.exec = QStringLiteral("/program");
    if (const Core::Error error = checkDeclaration(idAlone))
        m_findings.add(LintRules::declarationRefused, placeOfId(m_file), error.message());
    TaskInfo execAlone = m_task;
    execAlone.taskId = Core::ApplicationTaskId(
        Core::ApplicationId(QStringLiteral("com.example.App")), QStringLiteral("task"));
    if (const Core::Error error = checkDeclaration(execAlone))
        add(LintRules::declarationRefused, execKey(), error.message());
}

void TaskChecks::checkExec() const
{
    if (m_task.exec.isEmpty()) {
        add(LintRules::execMissing, execKey(), QStringLiteral("There is no Exec"));
        return;
    }
    if (checkDeclaration(m_task)) {
        addRefusals();
        return;
    }
    QStringList words = m_task.exec.split(QLatin1Char(' '));
    checkProgram(words.takeFirst());
    for (const QString &word : qAsConst(words))
        checkArgument(word);
}

void TaskChecks::checkProgram(const QString &program) const
{
    if (!program.startsWith(QLatin1Char('/'))) {
        add(LintRules::execRelative, execKey(),
            QStringLiteral("%1 is not an absolute path")
                .arg(program.isEmpty() ? QStringLiteral("A blank") : program));
        return;
    }
    if (isHidden(program))
        add(LintRules::execHidden, execKey(),
            QStringLiteral("%1 is hidden by the sandbox").arg(program));
    switch (m_places.program(program)) {
    case KnownPlaces::Program::Fine:
        break;
    case KnownPlaces::Program::NotThere:
        add(LintRules::execNotThere, execKey(), QStringLiteral("There is no %1").arg(program));
        break;
    case KnownPlaces::Program::Directory:
        add(LintRules::execDirectory, execKey(), QStringLiteral("%1 is a directory").arg(program));
        break;
    case KnownPlaces::Program::NotExecutable:
        add(LintRules::execNotExecutable, execKey(),
            QStringLiteral("%1 is not executable").arg(program));
        break;
    case KnownPlaces::Program::NotElf:
        add(LintRules::execScript, execKey(),
            QStringLiteral("%1 is not an ELF binary").arg(program));
        break;
    }
}

// The sandbox shows only some folders of these places. A task that is started homeless sees none of
// those in a home.
bool TaskChecks::isHidden(const QString &program) const
{
    static const QRegularExpression places(
        QStringLiteral("^(/home/[^/]+|/root|/srv|/usr/share)/(?<below>.*)$"),
        QRegularExpression::DotMatchesEverythingOption);
    const QRegularExpressionMatch match = places.match(QDir::cleanPath(program));
    if (!match.hasMatch())
        return false;
    const Core::ApplicationId &id = m_task.taskId.applicationId();
    const QString organisation = id.organisation().toString();
    QStringList shown;
    if (match.captured(1) == QLatin1String("/usr/share")) {
        shown << id.toString() << QStringLiteral("common/") + organisation;
    } else {
        shown = foldersOf(id,
                          match.captured(1) == QLatin1String("/srv")
                              ? QStringList(QStringLiteral("shared"))
                              : QStringList{QStringLiteral(".cache"), QStringLiteral(".config"),
                                            QStringLiteral(".local/share")});
    }
    const QString below = match.captured(QStringLiteral("below"));
    return std::none_of(shown.begin(), shown.end(), [&below](const QString &folder) {
        return below.startsWith(folder + QLatin1Char('/'));
    });
}

void TaskChecks::checkArgument(const QString &argument) const
{
    const bool isQuoted = std::any_of(argument.begin(), argument.end(),
                                      [](QChar c) { return QLatin1String("\"'\\").contains(c); });
    if (isQuoted)
        add(LintRules::execQuotes, execKey(),
            QStringLiteral("The argument %1 has quotes or backslashes").arg(argument));
    if (argument.startsWith(QLatin1Char('/')) && isHidden(argument)
        && m_places.program(argument) != KnownPlaces::Program::NotThere)
        add(LintRules::execHidden, execKey(),
            QStringLiteral("The argument %1 is hidden by the sandbox").arg(argument));
    if (isFieldCode(argument))
        add(LintRules::execFieldCode, execKey(),
            QStringLiteral("%1 is a field code").arg(argument));
    else if (hasSpecifier(argument) || hasVariable(argument))
        add(LintRules::execExpansion, execKey(),
            QStringLiteral("systemd expands the argument %1").arg(argument));
}

void TaskChecks::checkPermissions() const
{
    const QString key = QStringLiteral("Permissions");
    for (const QString &name : m_task.permissions) {
        if (!isPermissionName(name))
            add(LintRules::permissionName, key,
                QStringLiteral("\"%1\" is not a valid permission name").arg(name));
        else if (!m_places.hasPermission(name))
            add(LintRules::permissionMissing, key,
                QStringLiteral("There is no %1.permission").arg(name));
    }
}

} // namespace

Core::FindingPlace placeOfId(const EntryFile &file)
{
    const QString key = QStringLiteral("OrganizationName");
    for (const QString &group : sandboxGroups()) {
        if (const int line = file.text().lineOf(group, key))
            return {file.path(), group, key, line};
    }
    return {file.path()};
}

const QStringList &sandboxGroups()
{
    static const QStringList groups{QStringLiteral("X-Application"), QStringLiteral("X-Sailjail"),
                                    QStringLiteral("Sailjail")};
    return groups;
}

bool isPermissionName(const QString &name)
{
    const bool isPlain = std::none_of(
        name.begin(), name.end(), [](QChar c) { return QLatin1String(" \"'\\$%").contains(c); });
    return isPlain && !Core::checkPermissions({name});
}

void checkTask(const TaskInfo &task, const EntryFile &file, const KnownPlaces &places,
               Collected &findings)
{
    const TaskChecks checks(task, file, places, findings);
    checks.checkId();
    checks.checkType();
    checks.checkExec();
    checks.checkPermissions();
}

} // namespace Cli

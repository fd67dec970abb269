#include "cli/origins.h"

#include "cli/entry_lines.h"
#include "cli/start_options.h"

#include <QStringList>

namespace Cli {

namespace {

QString installKey() { return QStringLiteral("WantedBy"); }

// Builds the list.
class OriginList
{
public:
    explicit OriginList(const DeclaredTask &task)
        : m_task(task)
        , m_lines(task)
    {
    }

    void add(const QString &setting, const QString &value, const Core::Origin &origin)
    {
        switch (origin.kind) {
        case Core::Origin::Declaration:
            addDeclared(setting, value, origin.what);
            break;
        case Core::Origin::Hint:
            add({setting, value, QStringLiteral("hint"), optionOfHint(origin.what), {}, 0});
            break;
        case Core::Origin::Permission:
            add({setting, value, QStringLiteral("permission"), origin.what, origin.file,
                 origin.line});
            break;
        case Core::Origin::Default:
        case Core::Origin::Words:
            add({setting, value, QStringLiteral("default"), {}, {}, 0});
        }
    }
    void add(const QString &setting, const QVector<Core::PlannedWord> &words)
    {
        for (const Core::PlannedWord &word : words)
            add(setting, word.text, word.origin);
    }

    void add(const ValueOrigin &row) { all.append(row); }

    QVector<ValueOrigin> all;

private:
    void addDeclared(const QString &setting, const QString &value, const QString &part)
    {
        const auto [file, line] = m_lines.of(part);
        const QString what = part == QLatin1String("X-Task") ? m_task.group : part;
        add({setting, value, QStringLiteral("declaration"), what, file, line});
    }

    const DeclaredTask &m_task;
    const EntryLines m_lines;
};

// The lines above the service section. The description contains the task's id.
void addUnitSection(OriginList &list, const Core::TaskPlan &plan)
{
    for (const QString &line : QString::fromUtf8(plan.unit()).split(QLatin1Char('\n'))) {
        if (line == QLatin1String("[Service]"))
            return;
        const auto equals = line.indexOf(QLatin1Char('='));
        if (equals < 0)
            continue;
        const QString value = line.mid(equals + 1);
        const bool namesTask = value.endsWith(plan.taskId);
        list.add(line.left(equals), value,
                 {namesTask ? Core::Origin::Declaration : Core::Origin::Default,
                  QStringLiteral("X-Task"),
                  {},
                  0});
    }
}

void addSettings(OriginList &list, const Core::TaskPlan &plan)
{
    for (auto it = plan.settings.cbegin(); it != plan.settings.cend(); ++it) {
        if (it.key() == QLatin1String("ExecStart"))
            list.add(it.key(), plan.argv);
        else if (it.key() == QLatin1String("Environment"))
            list.add(it.key(), plan.environment);
        else if (it.key() != installKey())
            list.add(it.key(), Core::textOf(it->value), it->origin);
    }
    const Core::PlannedSetting &install = *plan.settings.constFind(installKey());
    const QString target = Core::textOf(install.value);
    // Every unit has this setting, but systemd follows it only for units that are enabled.
    if (install.origin.kind == Core::Origin::Default && !plan.atBoot) {
        list.add({installKey(),
                  target,
                  QStringLiteral("default"),
                  QStringLiteral("default, without effect unless --at-boot"),
                  {},
                  0});
    } else {
        list.add(installKey(), target, install.origin);
    }
}

} // namespace

QString ValueOrigin::toString() const { return toString(file); }

QString ValueOrigin::toShortString() const
{
    return toString(file.mid(file.lastIndexOf(QLatin1Char('/')) + 1));
}

QString ValueOrigin::toString(const QString &shownFile) const
{
    if (file.isEmpty())
        return what.isEmpty() ? kind : what;
    const QString number = line > 0 ? QLatin1Char(':') + QString::number(line) : QString();
    return shownFile + number + QLatin1String(" (") + what + QLatin1Char(')');
}

QVector<ValueOrigin> originsOf(const Core::TaskPlan &plan, const DeclaredTask &task,
                               const Client::StartRequest &request)
{
    OriginList list(task);
    addUnitSection(list, plan);
    addSettings(list, plan);
    if (plan.policy) {
        list.add(QStringLiteral("policy user"), request.user.value_or(QString()),
                 {Core::Origin::Hint, QStringLiteral("User"), {}, 0});
        list.add(QStringLiteral("policy own"), request.busName.value_or(QString()),
                 {Core::Origin::Hint, QStringLiteral("DBusService"), {}, 0});
    }
    return list.all;
}

} // namespace Cli

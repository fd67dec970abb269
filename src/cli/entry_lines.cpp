#include "cli/entry_lines.h"

#include "common/places.h"

#include <mdesktopentry.h>

namespace Cli {

namespace {

// The groups in which an entry may give its id; an earlier one has precedence.
const char *const idGroups[] = {"X-Application", "X-Sailjail", "Sailjail"};

QString realPath(const DeclaredTask &task) { return Places::ofProcess().real(task.file); }

} // namespace

EntryLines::EntryLines(const DeclaredTask &task)
    : m_task(task)
    , m_lines(KeyFileLines::ofFile(realPath(task)))
{
}

FileLine EntryLines::of(const QString &part) const
{
    if (part == QLatin1String("Exec"))
        return {m_task.file, lineOfExec()};
    if (part == QLatin1String("OrganizationName") || part == QLatin1String("ApplicationName"))
        return {m_task.file, lineOfIdPart(part)};
    return {m_task.file, m_lines.of(m_task.group)};
}

int EntryLines::lineOfExec() const
{
    const QString key = QStringLiteral("Exec");
    // A task without a command line of its own uses the application's.
    const bool isOwn = !MDesktopEntry(realPath(m_task)).value(m_task.group, key).isEmpty();
    return m_lines.of(isOwn ? m_task.group : QStringLiteral("Desktop Entry"), key);
}

int EntryLines::lineOfIdPart(const QString &key) const
{
    const MDesktopEntry entry(realPath(m_task));
    const Core::ApplicationId id = m_task.taskId.applicationId();
    if (!(Core::ApplicationId(entry.appOrgname(), entry.appName()) == id))
        return 0;
    for (const char *name : idGroups) {
        const QString group = QString::fromLatin1(name);
        if (!entry.value(group, key).isEmpty())
            return m_lines.of(group, key);
    }
    return 0;
}

} // namespace Cli

#include "cli/lint/entry_checks.h"

#include "cli/lint/entry_text.h"
#include "cli/lint/near_word.h"
#include "cli/lint/rules.h"

#include <QMap>
#include <QSet>

namespace Cli {

namespace {

const QStringList &taskKeys()
{
    static const QStringList keys{QStringLiteral("Type"), QStringLiteral("Exec"),
                                  QStringLiteral("Permissions"), QStringLiteral("Conditions")};
    return keys;
}

const QStringList &sandboxKeys()
{
    static const QStringList keys{
        QStringLiteral("OrganizationName"), QStringLiteral("ApplicationName"),
        QStringLiteral("Permissions"),      QStringLiteral("Sandboxing"),
        QStringLiteral("Intents"),          QStringLiteral("ExecDBus"),
        QStringLiteral("DataDirectory")};
    return keys;
}

bool isSandboxGroup(const QString &group)
{
    return group == QLatin1String("X-Application") || group == QLatin1String("X-Sailjail")
        || group == QLatin1String("Sailjail");
}

bool isTaskGroup(const QString &group)
{
    return (group.startsWith(QLatin1String("X-Task ")) && group.size() > 7)
        || (group.startsWith(QLatin1String("X-Service ")) && group.size() > 10);
}

// "X-Task:a", "x-task a", "XTask a" and the like.
bool resemblesTaskGroup(const QString &group)
{
    QString plain = group.toLower();
    plain.remove(QLatin1Char('-'));
    return plain.startsWith(QLatin1String("xtask")) || plain.startsWith(QLatin1String("xservice"));
}

void checkHeader(const QString &path, const EntryLine &line, QSet<QString> &seen,
                 Collected &findings)
{
    const Core::FindingPlace place{path, line.group, {}, line.number};
    if (isTaskGroup(line.group)) {
        if (seen.contains(line.group))
            findings.add(LintRules::groupTwice, place,
                         QStringLiteral("[%1] is there twice").arg(line.group));
        seen.insert(line.group);
    } else if (resemblesTaskGroup(line.group)) {
        findings.add(LintRules::unknownGroup, place,
                     QStringLiteral("[%1] declares no task").arg(line.group));
    }
}

// What another program reads has a name that begins with X-, or is a translation.
bool isForOthers(const QString &key)
{
    return key.startsWith(QLatin1String("X-")) || key.contains(QLatin1Char('['));
}

void checkKey(const QString &path, const EntryLine &line, Collected &findings)
{
    const Core::FindingPlace place{path, line.group, line.key, line.number};
    if (isForOthers(line.key))
        return;
    if (isTaskGroup(line.group) && !taskKeys().contains(line.key))
        addUnknownKey(place, taskKeys(), findings);
    // Others read keys of this group that are none of these.
    if (isSandboxGroup(line.group) && !sandboxKeys().contains(line.key)
        && !nearWord(line.key, sandboxKeys()).isEmpty())
        addUnknownKey(place, sandboxKeys(), findings);
}

void checkSwitch(const QString &path, const EntryLine &line, Collected &findings)
{
    static const QStringList yesOrNo{QStringLiteral("yes"), QStringLiteral("no")};
    static const QMap<QString, QStringList> words{
        {QStringLiteral("Sandboxing"), {QStringLiteral("Disabled"), QStringLiteral("Enabled")}},
        {QStringLiteral("X-Nemo-Single-Instance"), yesOrNo},
        {QStringLiteral("X-Halcyn-Single-Cover"), yesOrNo}};
    const bool isInMainGroup = line.group == QLatin1String("Desktop Entry");
    const bool isRead =
        line.key == QLatin1String("Sandboxing") ? isSandboxGroup(line.group) : isInMainGroup;
    if (isRead && words.contains(line.key) && !words.value(line.key).contains(line.value))
        findings.add(LintRules::entrySwitch, {path, line.group, line.key, line.number},
                     QStringLiteral("%1=%2 has no effect").arg(line.key, line.value));
}

// Whoever gets the id in a call or a file parses it.
void checkId(const Core::ApplicationInfo &entry, const KeyFileLines &lines, Collected &findings)
{
    const Core::ApplicationId &id = entry.applicationId();
    const Core::ApplicationId parsed(id.toString());
    QString group;
    int line = 0;
    for (const char *name : {"X-Application", "X-Sailjail", "Sailjail"}) {
        group = QString::fromLatin1(name);
        line = lines.of(group, QStringLiteral("OrganizationName"));
        if (line != 0)
            break;
    }
    // What follows from the file's name is nobody's choice.
    if (line == 0 || (parsed.isValid() && parsed.organisation() == id.organisation()))
        return;
    const QString text = parsed.isValid()
        ? QStringLiteral("%1 reads as %2 of %3")
              .arg(id.toString(), parsed.name().toString(), parsed.organisation().toString())
        : QStringLiteral("%1 does not read as an id").arg(id.toString());
    findings.add(LintRules::idParsesOtherwise,
                 {entry.desktopFilePath(), group, QStringLiteral("OrganizationName"), line}, text);
}

} // namespace

void addUnknownKey(const Core::FindingPlace &place, const QStringList &known, Collected &findings)
{
    const QString near = nearWord(place.key, known);
    const QString question =
        near.isEmpty() ? QString() : QStringLiteral("; did you mean %1?").arg(near);
    findings.add(LintRules::unknownKey, place,
                 QStringLiteral("%1 is no key of [%2]%3").arg(place.key, place.group, question));
}

void checkEntryText(const QString &path, const QByteArray &text, Collected &findings)
{
    if (const int line = firstLineOfOtherBytes(text))
        findings.add(LintRules::notUtf8, {path, {}, {}, line},
                     QStringLiteral("Bytes that are not UTF-8"));
    QSet<QString> groups;
    for (const EntryLine &line : entryLines(text)) {
        if (line.key.isEmpty()) {
            checkHeader(path, line, groups, findings);
        } else {
            checkKey(path, line, findings);
            checkSwitch(path, line, findings);
        }
    }
}

void checkEntry(const Core::ApplicationInfo &entry, const QByteArray &text,
                const KnownPlaces &places, Collected &findings)
{
    const KeyFileLines lines(text);
    checkId(entry, lines, findings);
    for (const Core::ApplicationInfo::TaskInfo &task : entry.tasks())
        checkTask(task, lines, places, findings);
}

} // namespace Cli

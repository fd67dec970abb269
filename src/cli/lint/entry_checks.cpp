#include "cli/lint/entry_checks.h"

#include "cli/lint/near_word.h"
#include "cli/lint/rules.h"

#include <QMap>
#include <QSet>
#include <QStringList>

#include <algorithm>
#include <cstring>
#include <string_view>
#include <tuple>
#include <vector>

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

const QStringList &mainKeys()
{
    static const QStringList keys{QStringLiteral("Type"),
                                  QStringLiteral("Name"),
                                  QStringLiteral("Exec"),
                                  QStringLiteral("Icon"),
                                  QStringLiteral("Hidden"),
                                  QStringLiteral("MimeType"),
                                  QStringLiteral("URL"),
                                  QStringLiteral("Mode"),
                                  QStringLiteral("X-Maemo-Service"),
                                  QStringLiteral("X-Maemo-Object-Path"),
                                  QStringLiteral("X-Maemo-Method"),
                                  QStringLiteral("X-Maemo-Fixed-Args"),
                                  QStringLiteral("X-Nemo-Single-Instance"),
                                  QStringLiteral("X-Halcyn-Single-Cover"),
                                  QStringLiteral("X-Halcyn-Support-Mime-Parents")};
    return keys;
}

// Keys that the format defines and the daemon ignores.
const QStringList &keysOfTheFormat()
{
    static const QStringList keys{QStringLiteral("Version"),
                                  QStringLiteral("GenericName"),
                                  QStringLiteral("NoDisplay"),
                                  QStringLiteral("Comment"),
                                  QStringLiteral("OnlyShowIn"),
                                  QStringLiteral("NotShowIn"),
                                  QStringLiteral("DBusActivatable"),
                                  QStringLiteral("TryExec"),
                                  QStringLiteral("Path"),
                                  QStringLiteral("Terminal"),
                                  QStringLiteral("Actions"),
                                  QStringLiteral("Categories"),
                                  QStringLiteral("Implements"),
                                  QStringLiteral("Keywords"),
                                  QStringLiteral("StartupNotify"),
                                  QStringLiteral("StartupWMClass"),
                                  QStringLiteral("PrefersNonDefaultGPU"),
                                  QStringLiteral("Encoding"),
                                  QStringLiteral("SingleMainWindow")};
    return keys;
}

// The values of switches, which must match exactly.
const QMap<QString, QStringList> &switchWords()
{
    static const QStringList yesOrNo{QStringLiteral("yes"), QStringLiteral("no")};
    static const QStringList booleans{QStringLiteral("true"), QStringLiteral("false"),
                                      QStringLiteral("1"), QStringLiteral("0")};
    static const QMap<QString, QStringList> words{
        {QStringLiteral("Sandboxing"), {QStringLiteral("Disabled"), QStringLiteral("Enabled")}},
        {QStringLiteral("X-Nemo-Single-Instance"), yesOrNo},
        {QStringLiteral("X-Halcyn-Single-Cover"), yesOrNo},
        {QStringLiteral("Hidden"), booleans},
        {QStringLiteral("X-Halcyn-Support-Mime-Parents"), booleans}};
    return words;
}

bool isTaskGroup(const QString &group)
{
    return (group.startsWith(QLatin1String("X-Task ")) && group.size() > 7)
        || (group.startsWith(QLatin1String("X-Service ")) && group.size() > 10);
}

bool startsWith(std::string_view text, std::string_view start)
{
    return text.substr(0, start.size()) == start;
}

bool isAmong(const QStringList &words, std::string_view word)
{
    const QLatin1String text(word.data(), static_cast<int>(word.size()));
    return std::any_of(words.begin(), words.end(), [text](const QString &each) {
        return each.size() == text.size() && each == text;
    });
}

// Whether only the order or the case of the letters differs: a typical slip in a short word.
bool hasTheSameLetters(const QString &one, const QString &other)
{
    QString left = one.toLower();
    QString right = other.toLower();
    std::sort(left.begin(), left.end());
    std::sort(right.begin(), right.end());
    return left == right;
}

// The first word of a task's group that a misspelt one was probably meant to be.
QString nearTaskWord(const QString &word)
{
    const QString shortOne = QStringLiteral("X-Task");
    const QString longOne = QStringLiteral("X-Service");
    // Of two wrong letters, only a swap is taken for a slip: [X-Test NAME] is another's group.
    const bool isShortOne = word.compare(QLatin1String("Task"), Qt::CaseInsensitive) == 0
        || !nearWord(word, {shortOne}, 1).isEmpty()
        || (!nearWord(word, {shortOne}).isEmpty() && hasTheSameLetters(word, shortOne));
    return isShortOne ? shortOne : nearWord(word, {longOne});
}

// The group that a misspelt one was probably meant to be; empty when it resembles none.
QString nearGroup(const QString &group)
{
    const auto blank = group.indexOf(QLatin1Char(' '));
    if (blank < 0)
        return nearWord(group, sandboxGroups());
    const QString word = nearTaskWord(group.left(blank));
    return word.isEmpty() ? word : word + group.mid(blank);
}

/// Checks the lines of one entry.
class TextChecks
{
public:
    TextChecks(const QString &path, const EntryText &text, Collected &findings)
        : m_path(path)
        , m_text(text)
        , m_findings(findings)
    {
    }
    void run();

private:
    enum class Group { Main, Sandbox, Task, Other };

    void enterGroup(const EntryLine &line);
    void checkKey(const EntryLine &line) const;
    void checkSwitch(const EntryLine &line) const;
    void noteKnownKey(const EntryLine &line);
    void checkRepetitions();
    [[nodiscard]] bool resemblesTaskGroup(const QString &group) const;
    [[nodiscard]] bool isMisspelt(const EntryLine &line, const QStringList &known) const;
    [[nodiscard]] Core::FindingPlace placeOf(const EntryLine &line) const
    {
        return {m_path, textOf(line.group), textOf(line.key), line.number};
    }

    const QString &m_path;
    const EntryText &m_text;
    Collected &m_findings;
    Group m_group = Group::Other;
    QSet<QString> m_taskGroups;
    // The lines of known keys.
    std::vector<const EntryLine *> m_known;
};

void TextChecks::run()
{
    for (const EntryLine &line : m_text.lines()) {
        if (line.key.empty()) {
            enterGroup(line);
        } else if (m_group != Group::Other) {
            checkKey(line);
            checkSwitch(line);
            noteKnownKey(line);
        }
    }
    checkRepetitions();
}

void TextChecks::enterGroup(const EntryLine &line)
{
    const QString group = textOf(line.group);
    m_group = Group::Other;
    if (group == QLatin1String("Desktop Entry")) {
        m_group = Group::Main;
    } else if (sandboxGroups().contains(group)) {
        m_group = Group::Sandbox;
    } else if (isTaskGroup(group)) {
        m_group = Group::Task;
        if (m_taskGroups.contains(group))
            m_findings.add(LintRules::groupTwice, placeOf(line),
                           QStringLiteral("[%1] occurs twice").arg(group));
        m_taskGroups.insert(group);
    } else if (resemblesTaskGroup(group)) {
        m_findings.add(LintRules::unknownGroup, placeOf(line),
                       QStringLiteral("[%1] declares no task").arg(group));
    } else if (const QString meant = nearGroup(group); !meant.isEmpty()) {
        m_findings.add(LintRules::unknownGroup, placeOf(line),
                       QStringLiteral("[%1] is ignored; did you mean [%2]?").arg(group, meant));
    }
}

// "X-Task:a", "x-task a", "XTask a" and the like. Another program's [X-TaskList] also begins like
// this, but has no Type.
bool TextChecks::resemblesTaskGroup(const QString &group) const
{
    QString plain = group.toLower();
    plain.remove(QLatin1Char('-'));
    for (const char *start : {"xtask", "xservice"}) {
        if (!plain.startsWith(QLatin1String(start)))
            continue;
        const QString rest = plain.mid(static_cast<int>(qstrlen(start)));
        return rest.isEmpty() || !rest.at(0).isLetter()
            || m_text.lineOf(group, QStringLiteral("Type")) != 0;
    }
    return false;
}

void TextChecks::checkKey(const EntryLine &line) const
{
    const bool isOfAnother = startsWith(line.key, "X-");
    switch (m_group) {
    case Group::Task:
        if (!isOfAnother && !isAmong(taskKeys(), line.key))
            addUnknownKey(placeOf(line), taskKeys(), m_findings);
        break;
    case Group::Sandbox:
        // Other programs read further keys of this group.
        if (!isOfAnother && isMisspelt(line, sandboxKeys()))
            addUnknownKey(placeOf(line), sandboxKeys(), m_findings);
        break;
    case Group::Main:
        if (!isAmong(keysOfTheFormat(), line.key) && isMisspelt(line, mainKeys()))
            addUnknownKey(placeOf(line), mainKeys(), m_findings);
        break;
    case Group::Other:
        break;
    }
}

// Whether a key resembles a known one. A short word often resembles another by chance, so it must
// have the same letters.
bool TextChecks::isMisspelt(const EntryLine &line, const QStringList &known) const
{
    constexpr int longEnough = 6;
    if (isAmong(known, line.key))
        return false;
    const QString key = textOf(line.key);
    const QString near = nearWord(key, known);
    return !near.isEmpty() && (key.size() >= longEnough || hasTheSameLetters(key, near));
}

void TextChecks::checkSwitch(const EntryLine &line) const
{
    // A quick check that rules out most keys.
    const bool mayBeOne = std::strchr("HSX", line.key.front()) != nullptr;
    if (m_group == Group::Task || !mayBeOne)
        return;
    const QString key = textOf(line.key);
    const auto words = switchWords().constFind(key);
    const bool isForSandbox = key == QLatin1String("Sandboxing");
    if (words == switchWords().constEnd() || isForSandbox != (m_group == Group::Sandbox)
        || isAmong(*words, line.value))
        return;
    m_findings.add(LintRules::entrySwitch, placeOf(line),
                   QStringLiteral("%1=%2 has no effect").arg(key, textOf(line.value)));
}

// Only known keys: the values of others change nothing.
void TextChecks::noteKnownKey(const EntryLine &line)
{
    const QStringList &known = m_group == Group::Task ? taskKeys()
        : m_group == Group::Sandbox                   ? sandboxKeys()
                                                      : mainKeys();
    if (isAmong(known, line.key))
        m_known.push_back(&line);
}

void TextChecks::checkRepetitions()
{
    const auto nameOf = [](const EntryLine *line) { return std::tie(line->group, line->key); };
    std::stable_sort(m_known.begin(), m_known.end(),
                     [&](const EntryLine *a, const EntryLine *b) { return nameOf(a) < nameOf(b); });
    for (std::size_t at = 1; at < m_known.size(); ++at) {
        const EntryLine &line = *m_known[at];
        if (nameOf(m_known[at - 1]) == nameOf(&line))
            m_findings.add(LintRules::keyTwice, placeOf(line),
                           QStringLiteral("%1 occurs twice in [%2]")
                               .arg(textOf(line.key), textOf(line.group)));
    }
}

// Checks that the id, parsed again from its text, has the same parts: callers and files use its
// text.
void checkId(const Core::ApplicationInfo &entry, const EntryFile &file, Collected &findings)
{
    const Core::ApplicationId &id = entry.applicationId();
    const Core::ApplicationId parsed(id.toString());
    if (parsed.isValid() && parsed.organisation() == id.organisation())
        return;
    const Core::FindingPlace place = placeOfId(file);
    // An id that comes from the file's name was not chosen by the author.
    if (place.line == 0)
        return;
    findings.add(LintRules::idParsesOtherwise, place,
                 parsed.isValid() ? QStringLiteral("%1 reads as %2 of %3")
                                        .arg(id.toString(), parsed.name().toString(),
                                             parsed.organisation().toString())
                                  : QStringLiteral("%1 does not read as an id").arg(id.toString()));
}

} // namespace

void addUnknownKey(const Core::FindingPlace &place, const QStringList &known, Collected &findings)
{
    const QString near = nearWord(place.key, known);
    const QString question =
        near.isEmpty() ? QString() : QStringLiteral("; did you mean %1?").arg(near);
    findings.add(LintRules::unknownKey, place,
                 QStringLiteral("%1 is not a key of [%2]%3").arg(place.key, place.group, question));
}

void checkEntryText(const QString &path, const EntryText &text, Collected &findings)
{
    if (const int line = text.firstLineOfOtherBytes())
        findings.add(LintRules::notUtf8, {path, {}, {}, line},
                     QStringLiteral("Bytes that are not UTF-8"));
    TextChecks(path, text, findings).run();
}

void checkEntry(const Core::ApplicationInfo &entry, const KnownPlaces &places, Collected &findings)
{
    if (!entry.isValid())
        return;
    const EntryFile file(entry.desktopFilePath(), places);
    checkId(entry, file, findings);
    for (const Core::ApplicationInfo::TaskInfo &task : entry.tasks())
        checkTask(task, file, places, findings);
}

} // namespace Cli

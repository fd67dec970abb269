#include "cli/why/entry_gates.h"

#include "cli/cures.h"
#include "cli/entry_lines.h"
#include "cli/lint/entry_text.h"
#include "cli/lint/near_word.h"
#include "cli/lint/rules.h"
#include "cli/no_findings.h"
#include "cli/why/entry_search.h"
#include "cli/why/findings.h"
#include "cli/words.h"
#include "common/places.h"
#include "files/foreign_file.h"
#include "plan/unit_checks.h"

#include <mdesktopentry.h>

namespace Cli {

namespace {

using Shadowed = Core::ApplicationCatalogue::Shadowed;

QString mainGroup() { return QStringLiteral("Desktop Entry"); }

QString sandboxGroup() { return QStringLiteral("X-Application"); }

QString setting(const QString &key, const QString &value) { return key + QLatin1Char('=') + value; }

// One part of an id that an entry should declare.
struct IdPart
{
    QString key;
    QString wanted;
    QString declared;
    /// 0 when the entry does not declare it.
    int line;
};

QVector<IdPart> idPartsOf(const QString &file, const QString &application)
{
    const KeyFileLines lines = KeyFileLines::ofFile(Places::ofProcess().real(file));
    const MDesktopEntry entry(Places::ofProcess().real(file));
    const Core::ApplicationId wanted(application);
    const auto lineOf = [&](const QString &key) { return lines.of(sandboxGroup(), key); };
    const QString organisation = QStringLiteral("OrganizationName");
    const QString name = QStringLiteral("ApplicationName");
    return {
        {organisation, wanted.organisation().toString(), entry.appOrgname(), lineOf(organisation)},
        {name, wanted.name().toString(), entry.appName(), lineOf(name)}};
}

// The command that makes an entry declare an application's id; empty when no single command does.
QString declaringId(const QString &file, const QString &application)
{
    QStringList cures;
    QStringList missing;
    if (!Core::ApplicationId(application).isValid())
        return {};
    for (const IdPart &part : idPartsOf(file, application)) {
        if (part.declared == part.wanted)
            continue;
        if (part.line > 0)
            cures.append(replacingLine(file, part.line, setting(part.key, part.wanted)));
        else
            missing.append(setting(part.key, part.wanted));
    }
    if (!missing.isEmpty())
        cures.append(
            appending(file, QStringList{QString(), QStringLiteral("[X-Application]")} + missing));
    return cures.join(QStringLiteral(" && "));
}

QString foldersOf(const Question &question)
{
    return question.places.applicationFolders.join(QStringLiteral(", "));
}

Gate missingEntry(const QString &name, const Question &question)
{
    const QString near =
        nearWord(question.application, QStringList(question.catalogue.applications().keys()));
    const QString evidence = QStringLiteral("no desktop entry in %1 declares %2")
                                 .arg(foldersOf(question), question.application);
    return {name, Gate::No, evidence,
            near.isEmpty() ? QStringLiteral("Install the application, or correct the id.")
                           : QStringLiteral("Did you mean %1?").arg(near)};
}

Gate entryGate(const Question &question, const EntryCandidate &candidate)
{
    const QString name = QStringLiteral("entry");
    switch (candidate.kind) {
    case EntryCandidate::NotValid:
        return {name, Gate::Yes, candidate.file};
    case EntryCandidate::OtherId:
        return {name, Gate::No,
                QStringLiteral("%1 declares %2, not %3")
                    .arg(candidate.file, candidate.id, question.application),
                QStringLiteral("No application with this id is known."),
                declaringId(candidate.file, question.application)};
    case EntryCandidate::Elsewhere:
        return {name, Gate::No,
                QStringLiteral("%1 is not read: entries are *.desktop files directly in %2")
                    .arg(candidate.file, foldersOf(question)),
                QStringLiteral("The application is not known."),
                moving(candidate.file, candidate.target)};
    case EntryCandidate::None:
        break;
    }
    return question.entry.isValid() ? Gate{name, Gate::Yes, question.entry.desktopFilePath()}
                                    : missingEntry(name, question);
}

// The first line that is neither a comment nor a group nor a key; 0 when there is none.
int strayLine(const QByteArray &text)
{
    int number = 0;
    for (const QByteArray &raw : text.split('\n')) {
        ++number;
        const QByteArray line = raw.trimmed();
        if (!line.isEmpty() && line.at(0) != '#' && line.at(0) != '[' && line.indexOf('=') <= 0)
            return number;
    }
    return 0;
}

// The command for an entry without a main group, whose header may be misspelt.
QString headerCure(const QString &file, const QByteArray &text)
{
    const EntryText entry(text);
    for (const EntryLine &line : entry.lines()) {
        if (line.key.empty() && !nearWord(textOf(line.group), {mainGroup()}).isEmpty())
            return replacingLine(file, line.number, QStringLiteral("[%1]").arg(mainGroup()));
    }
    return {};
}

// The command that sets a key of the main group.
QString settingOf(const QString &file, const QString &key, const QString &value)
{
    const KeyFileLines lines = KeyFileLines::ofFile(Places::ofProcess().real(file));
    const int line = lines.of(mainGroup(), key);
    return line > 0 ? replacingLine(file, line, setting(key, value))
                    : addingLine(file, lines.of(mainGroup()), setting(key, value));
}

// The line of Hidden=true; 0 when there is none.
int hiddenLine(const MDesktopEntry &entry, const KeyFileLines &lines)
{
    const QString key = QStringLiteral("Hidden");
    return entry.value(key) == QLatin1String("true") ? lines.of(mainGroup(), key) : 0;
}

Gate invalidEntry(const QString &name, const QString &file, const QString &application)
{
    const ForeignFile content = readForeignFile(Places::ofProcess().real(file));
    const KeyFileLines lines(content.text);
    const MDesktopEntry entry(Places::ofProcess().real(file));
    Gate gate{name, Gate::No, file + QStringLiteral(": "),
              QString::fromLatin1(Core::Rules::entryInvalid.sentence)};
    if (content.state != ForeignFile::Read) {
        gate.evidence += content.reason;
    } else if (const int line = strayLine(content.text)) {
        gate.evidence =
            placeOf(file, line) + QStringLiteral(": neither a group nor a key nor a comment");
        gate.cure = deletingLine(file, line);
    } else if (lines.of(mainGroup()) == 0) {
        gate.evidence += QStringLiteral("there is no [%1]").arg(mainGroup());
        gate.cure = headerCure(file, content.text);
    } else if (const int hidden = hiddenLine(entry, lines)) {
        gate.evidence =
            placeOf(file, hidden) + QStringLiteral(": Hidden=true, which means deleted");
        gate.cure = deletingLine(file, hidden);
    } else if (entry.value(QStringLiteral("Name")).isEmpty()) {
        gate.evidence += QStringLiteral("there is no Name");
        gate.cure = settingOf(file, QStringLiteral("Name"), application);
    } else {
        gate.evidence += QStringLiteral("Type is \"%1\"").arg(entry.type());
        gate.cure = settingOf(file, QStringLiteral("Type"), QStringLiteral("Application"));
    }
    return gate;
}

Gate validGate(const Question &question, const EntryCandidate &candidate)
{
    const QString name = QStringLiteral("valid entry");
    if (candidate.kind == EntryCandidate::NotValid)
        return invalidEntry(name, candidate.file, question.application);
    if (!question.entry.isValid())
        return {name, Gate::NotKnown, QStringLiteral("there is no entry")};
    return {name, Gate::Yes,
            QStringLiteral("it has a Type and the Name %1").arg(question.entry.name())};
}

bool declares(const QString &file, const Question &question)
{
    NoFindings findings;
    const Core::ApplicationInfo entry(file, question.places, findings);
    return entry.tasks().contains(question.taskName);
}

Gate shadowGate(const Question &question)
{
    const QString name = QStringLiteral("not shadowed");
    if (!question.entry.isValid())
        return {name, Gate::NotKnown, QStringLiteral("there is no entry")};
    QStringList others;
    for (const Shadowed &shadowed : question.catalogue.shadowed()) {
        if (shadowed.application != question.application)
            continue;
        const QString evidence =
            QStringLiteral("%1 is used instead of %2").arg(shadowed.by, shadowed.file);
        const bool isSame = shadowed.reason != Shadowed::SameFileName;
        if (isSame && question.isTask() && !question.isDeclared()
            && declares(shadowed.file, question))
            return {name, Gate::No, evidence,
                    QStringLiteral("Only the entry that is not used declares the task."),
                    moving(shadowed.by, shadowed.by + QStringLiteral(".disabled"))};
        others.append(evidence);
    }
    return {name, Gate::Yes,
            others.isEmpty() ? QStringLiteral("no other entry has its id or file name")
                             : others.join(QStringLiteral("; "))};
}

Gate idGate(const Question &question)
{
    const QString name = QStringLiteral("application id");
    if (!question.entry.isValid())
        return {name, Gate::NotKnown, QStringLiteral("there is no entry")};
    const Core::ApplicationId id = question.entry.applicationId();
    if (const Core::Error error = Core::checkApplicationId(id))
        return {name, Gate::No, error.message(),
                QString::fromLatin1(LintRules::declarationRefused.sentence)};
    const Core::ApplicationId parsed(id.toString());
    const QString parts = QStringLiteral("%1 of %2").arg(parsed.name(), parsed.organisation());
    return {name, Gate::Yes, QStringLiteral("%1 reads as %2").arg(id.toString(), parts)};
}

} // namespace

QVector<Gate> entryGates(const Question &question)
{
    const EntryCandidate candidate = question.entry.isValid()
        ? EntryCandidate()
        : candidateFor(question.application, question.catalogue, question.places);
    return {entryGate(question, candidate), validGate(question, candidate), shadowGate(question),
            idGate(question)};
}

} // namespace Cli

// orvanectl lint

#include "cli/commands/all.h"
#include "cli/exit_status.h"
#include "cli/lint/linter.h"
#include "cli/lint/rules.h"
#include "cli/output.h"
#include "cli/words.h"

#include <QJsonArray>

#include <algorithm>

namespace Cli {

namespace {

using Core::Finding;

QJsonObject objectOf(const LintRule &rule)
{
    return {{QStringLiteral("rule"), QString::fromLatin1(rule.rule->id)},
            {QStringLiteral("severity"), wordOf(rule.rule->severity)},
            {QStringLiteral("consequence"), QString::fromLatin1(rule.rule->sentence)},
            {QStringLiteral("instead"), QString::fromLatin1(rule.instead)}};
}

QString titleOf(const LintRule &rule)
{
    return QStringLiteral("%1 (%2)").arg(QLatin1String(rule.rule->id), wordOf(rule.rule->severity));
}

QJsonObject objectOf(const Finding &finding)
{
    const LintRule *rule = lintRule(finding.rule);
    QJsonObject object = rule == nullptr ? QJsonObject() : objectOf(*rule);
    object.insert(QStringLiteral("file"), finding.file);
    object.insert(QStringLiteral("line"), finding.line);
    object.insert(QStringLiteral("group"), finding.group);
    object.insert(QStringLiteral("key"), finding.key);
    object.insert(QStringLiteral("text"), finding.text);
    return object;
}

// What a rule finds and what to do about it.
QStringList sentencesOf(const LintRule &rule, const Output &output)
{
    constexpr int indentation = 4;
    const int width = output.terminal().width;
    return wrapped(QString::fromLatin1(rule.rule->sentence), indentation, width)
        + wrapped(QString::fromLatin1(rule.instead), indentation, width);
}

Output::Colour colourOf(Finding::Severity severity)
{
    switch (severity) {
    case Finding::Error:
        return Output::Colour::Red;
    case Finding::Warning:
        return Output::Colour::Yellow;
    case Finding::Note:
        break;
    }
    return Output::Colour::None;
}

// The lines of one finding: its place in a form that editors understand, the consequence, and what
// to do.
QStringList linesOf(const Finding &finding, const Output &output)
{
    const QString place = printable(placeOf(finding.file, finding.line));
    const QString severity = wordOf(finding.severity);
    QStringList lines = wrapped(QStringLiteral("%1: %2: %3 [%4]")
                                    .arg(place, severity, printable(finding.text), finding.rule),
                                0, output.terminal().width);
    // Colours are added after wrapping, because escape sequences take no columns.
    for (QString &line : lines) {
        const auto position =
            line.indexOf(severity + QLatin1Char(':'), line.startsWith(place) ? place.size() : 0);
        if (position < 0)
            continue;
        line.replace(position, severity.size(),
                     output.coloured(severity, colourOf(finding.severity)));
        break;
    }
    if (const LintRule *rule = lintRule(finding.rule))
        lines += sentencesOf(*rule, output);
    return lines;
}

int listRules(Output &output)
{
    Table table({{QStringLiteral("RULE")},
                 {QStringLiteral("SEVERITY")},
                 {QStringLiteral("FINDS"), Table::Left, Table::Overflow::Wrap}});
    QJsonArray objects;
    for (const LintRule &rule : lintRules()) {
        objects.append(objectOf(rule));
        table.add({QString::fromLatin1(rule.rule->id), wordOf(rule.rule->severity),
                   QString::fromLatin1(rule.rule->sentence)});
    }
    if (output.isJson())
        output.print(QJsonObject{{QStringLiteral("rules"), objects}});
    else
        output.print(table);
    return Done;
}

int explain(const QString &id, Output &output)
{
    const LintRule *rule = lintRule(id);
    if (rule == nullptr)
        return Output::fail(
            WrongUsage,
            QStringLiteral("there is no rule \"%1\"; see: orvanectl lint --list-rules").arg(id));
    if (output.isJson())
        output.print(objectOf(*rule));
    else
        output.print(QStringList{titleOf(*rule)} + sentencesOf(*rule, output));
    return Done;
}

int countOf(const QVector<Finding> &findings, Finding::Severity severity)
{
    return static_cast<int>(
        std::count_if(findings.begin(), findings.end(),
                      [severity](const Finding &finding) { return finding.severity == severity; }));
}

void printJson(const QVector<Finding> &findings, Output &output)
{
    QJsonArray objects;
    for (const Finding &finding : findings)
        objects.append(objectOf(finding));
    output.print(QJsonObject{{QStringLiteral("findings"), objects},
                             {QStringLiteral("errors"), countOf(findings, Finding::Error)},
                             {QStringLiteral("warnings"), countOf(findings, Finding::Warning)},
                             {QStringLiteral("notes"), countOf(findings, Finding::Note)}});
}

void printText(const QVector<Finding> &findings, Output &output)
{
    QStringList lines;
    for (const Finding &finding : findings)
        lines += linesOf(finding, output);
    lines.append(QStringLiteral("errors: %1, warnings: %2, notes: %3")
                     .arg(countOf(findings, Finding::Error))
                     .arg(countOf(findings, Finding::Warning))
                     .arg(countOf(findings, Finding::Note)));
    output.print(lines);
}

// Checks the paths, or the system if there are none. Returns false, with an error printed, when a
// path cannot be read.
bool collect(const QStringList &paths, Collected &findings)
{
    const Places system = Places::ofProcess();
    if (paths.isEmpty())
        lintSystem(system, findings);
    for (const QString &path : paths) {
        if (lintPath(path, system, findings))
            continue;
        Output::fail(
            WrongUsage,
            QStringLiteral(
                "the daemon does not read %1; give a file, a folder or the tree of a package")
                .arg(path));
        return false;
    }
    return true;
}

int run(const Request &request, Output &output)
{
    if (request.has(QStringLiteral("list-rules")))
        return listRules(output);
    if (request.has(QStringLiteral("explain")))
        return explain(request.value(QStringLiteral("explain")), output);
    Collected collected;
    if (!collect(request.arguments, collected))
        return WrongUsage;
    const QVector<Finding> findings = collected.sorted();
    if (output.isJson())
        printJson(findings, output);
    else
        printText(findings, output);
    const bool isStrict = request.has(QStringLiteral("strict"));
    const bool isBad = countOf(findings, Finding::Error) > 0
        || (isStrict && countOf(findings, Finding::Warning) > 0);
    return isBad ? No : Done;
}

QVector<QPair<QString, QString>> fields()
{
    return {
        {QStringLiteral("findings"), QStringLiteral("an array of objects with these fields")},
        {QStringLiteral("rule"), QStringLiteral("the rule's id")},
        {QStringLiteral("severity"), QStringLiteral("\"error\", \"warning\" or \"note\"")},
        {QStringLiteral("consequence"), QStringLiteral("what the daemon does with it")},
        {QStringLiteral("instead"), QStringLiteral("what to write instead")},
        {QStringLiteral("file"), QStringLiteral("the file; empty when there is none")},
        {QStringLiteral("line"), QStringLiteral("counted from 1; 0 for the whole file")},
        {QStringLiteral("group"), QStringLiteral("the group in the file, if there is one")},
        {QStringLiteral("key"), QStringLiteral("the key in the group, if there is one")},
        {QStringLiteral("text"), QStringLiteral("what was found")},
        {QStringLiteral("errors"), QStringLiteral("how many there are")},
        {QStringLiteral("warnings"), QStringLiteral("how many there are")},
        {QStringLiteral("notes"), QStringLiteral("how many there are")},
        {QStringLiteral("rules"),
         QStringLiteral("with --list-rules: an array of rules, instead of findings")},
    };
}

} // namespace

Command lintCommand()
{
    Command command;
    command.name = QStringLiteral("lint");
    command.summary = QStringLiteral("find faults in declarations and settings");
    command.description = QStringList{
        QStringLiteral("Reads desktop entries, task types, manifests, permission files, version "
                       "overrides and autostart settings as the daemon does, and reports what it "
                       "ignores, refuses or reads in another way than the author may have meant."),
        QStringLiteral("A path is a file, a folder of files, or the tree of a package with usr, "
                       "etc, opt or var in it. Without a path, the system is read. What a package "
                       "refers to but does not contain is looked for in the system."),
        QStringLiteral("The exit status is 1 when there is an error, with --strict also when there "
                       "is a warning.")};
    command.arguments = {{QStringLiteral("PATH"), Kind::Path,
                          QStringLiteral("what to read instead of the system"), false, true}};
    command.options = {
        {QStringLiteral("strict"), {}, Kind::Text, QStringLiteral("count warnings as errors")},
        {QStringLiteral("explain"), QStringLiteral("RULE"), Kind::Text,
         QStringLiteral("show what a rule finds and what to do about it")},
        {QStringLiteral("list-rules"), {}, Kind::Text, QStringLiteral("list the rules")}};
    command.fields = fields();
    command.run = run;
    return command;
}

} // namespace Cli

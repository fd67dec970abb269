#include "cli/why/program_cures.h"

#include "cli/cures.h"
#include "cli/lint/rules.h"
#include "files/foreign_file.h"
#include "files/path_below.h"
#include "service/Core/program_file.h"

#include <QDirIterator>
#include <QFileInfo>

namespace Cli {

namespace {

bool is(const QString &rule, const Core::Rule &one) { return rule == QLatin1String(one.id); }

QString programOf(const QString &exec) { return exec.section(QLatin1Char(' '), 0, 0); }

// The path, without the root, of a program with this file name in the usual folders; empty when
// there is none.
QString found(const QString &fileName, const QString &root)
{
    for (const char *folder : {"/usr/local/bin", "/usr/bin", "/usr/sbin", "/usr/local/libexec",
                               "/usr/libexec", "/usr/lib", "/opt"}) {
        const QString below = pathBelow(root, QString::fromLatin1(folder));
        QDirIterator files(below, {fileName}, QDir::Files | QDir::CaseSensitive,
                           QString::fromLatin1(folder).endsWith(QLatin1String("bin"))
                               ? QDirIterator::NoIteratorFlags
                               : QDirIterator::Subdirectories);
        while (files.hasNext()) {
            const QString path = files.next();
            if (Core::isExecutable(path) && Core::isElf(path))
                return path.mid(root.size());
        }
    }
    return {};
}

// The interpreter in a script's first line, with its arguments; empty when it does not exist.
QString interpreterOf(const QString &script, const QString &root)
{
    constexpr int longest = 255;
    const QByteArray start = readStartOfForeignFile(script, longest).text;
    if (!start.startsWith("#!"))
        return {};
    const QString words = QString::fromUtf8(start.mid(2).split('\n').constFirst()).simplified();
    const QString program = pathBelow(root, programOf(words));
    return Core::isExecutable(program) && Core::isElf(program) ? words : QString();
}

QString withExec(const Question &question, int line, const QString &exec)
{
    if (exec.isEmpty() || line == 0)
        return {};
    return replacingLine(question.declaration.task.file, line, QStringLiteral("Exec=") + exec);
}

QString withProgram(const Question &question, int line, const QString &program)
{
    const QString &exec = question.declaration.task.exec;
    if (program.isEmpty())
        return {};
    return withExec(question, line, program + exec.mid(programOf(exec).size()));
}

} // namespace

QString programCure(const Question &question, const QString &rule, int line)
{
    const QString &root = question.places.programRoot;
    const QString &exec = question.declaration.task.exec;
    const QString path = pathBelow(root, programOf(exec));
    if (is(rule, LintRules::execNotExecutable))
        return commandOf({QStringLiteral("chmod"), QStringLiteral("a+x"), path});
    if (is(rule, LintRules::execRelative) || is(rule, LintRules::execNotThere))
        return withProgram(question, line, found(QFileInfo(programOf(exec)).fileName(), root));
    if (is(rule, LintRules::execScript)) {
        const QString interpreter = interpreterOf(path, root);
        return interpreter.isEmpty()
            ? QString()
            : withExec(question, line, interpreter + QLatin1Char(' ') + exec);
    }
    return {};
}

} // namespace Cli

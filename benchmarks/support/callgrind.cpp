#include "support/callgrind.h"

#include <QFile>
#include <QTemporaryDir>

namespace Bench {

namespace {

QStringList counting(const QString &file, const QString &program, const QStringList &arguments)
{
    return QStringList{QStringLiteral("--quiet"), QStringLiteral("--tool=callgrind"),
                       QStringLiteral("--callgrind-out-file=") + file, program}
    + arguments;
}

// The total, which callgrind writes last.
double totalIn(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith("totals:"))
            return line.mid(7).trimmed().toDouble();
    }
    return -1;
}

} // namespace

double instructionsOf(const QString &program, const QStringList &arguments,
                      const QStringList &environment)
{
    const QTemporaryDir folder;
    const QString file = folder.filePath(QStringLiteral("out"));
    (void)numbersOf(QStringLiteral("valgrind"), counting(file, program, arguments), environment);
    return totalIn(file);
}

double instructionsOfDaemon(Fixture &fixture, const std::function<void()> &work)
{
    const QTemporaryDir folder;
    const QString file = folder.filePath(QStringLiteral("out"));
    fixture.startUntilName(fixture.daemon, QStringLiteral("valgrind"),
                           counting(file, Fixture::daemonProgram(), {}),
                           QStringLiteral("org.zarn.Orvane"));
    work();
    fixture.daemon.end();
    return totalIn(file);
}

} // namespace Bench

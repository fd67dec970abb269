#include "cli/command.h"
#include "cli/table.h"
#include "support/fixture.h"

#include <QRegularExpression>
#include <QTest>

namespace {

constexpr int columns = 80;

QString application() { return QStringLiteral("AnApplicationWithALongName"); }

QString task()
{
    return QStringLiteral("com.example.%1.task_synchroniseEverything").arg(application());
}

QString unit() { return QStringLiteral("ov_task.%1.service").arg(task()); }

QStringList words(const QString &line) { return line.split(QLatin1Char(' ')); }

// A command line, and the texts that it has to show without breaking them. The last of them is the
// last thing that is shown.
struct Row
{
    QString line;
    QStringList pieces;
};

QVector<Row> rows()
{
    const auto list = [](const char *pieces) {
        return QString::fromLatin1(pieces).split(QLatin1Char('|'));
    };
    const QString start = task() + QStringLiteral(" --user appuser --set MemoryMax=100M");
    const QString explained =
        QStringLiteral("autostart explain com.example.%1 --all-users").arg(application());
    return {
        {QStringLiteral("tasks"), list("task_broken|seEverything|2020-02-03 04:05")},
        {QStringLiteral("types"), list("/task-types/Sync.conf")},
        {QStringLiteral("show ") + task(),
         list("(line 10)|.desktop:8|3 program|there is no journal")},
        {QStringLiteral("top"), list("PROCESSES|Everything")},
        {QStringLiteral("watch"), list("running|Everything|watching")},
        {QStringLiteral("render --origin ") + start, list(".desktop:10 (Exec)|--set|.desktop")},
        {QStringLiteral("lint"), list(".desktop:14|errors:")},
        {QStringLiteral("lint --list-rules"), list("RULE|SEVERITY|FINDS")},
        {QStringLiteral("why ") + task(), list("yes  |no   ")},
        {QStringLiteral("doctor"), list("yes  |no   ")},
        {QStringLiteral("handlers text/plain"), list("viewer.desktop:5")},
        {QStringLiteral("autostart list --all-users"), list("LongName|of-the-vendor.conf:2")},
        {explained, list("of-the-vendor.conf:2")},
    };
}

// The commands of the rows.
QStringList lookedAt()
{
    QStringList names;
    for (const Row &row : rows())
        names.append(row.line.section(QLatin1Char(' '), 0, 0));
    return names;
}

// The lines that a terminal shows, without carriage returns and control sequences.
QStringList linesIn(const QByteArray &shown)
{
    QString text = QString::fromUtf8(shown).remove(QLatin1Char('\r'));
    text.remove(QRegularExpression(QStringLiteral("\033\\[[0-9;]*[A-Za-z]")));
    return text.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

// Whether a line is a path, an id (perhaps after a label) or a command. These are not shortened,
// because people copy them.
bool isToBeCopied(const QString &line)
{
    static const QRegularExpression word(QStringLiteral("^(\\w+( \\w+)?)? *\\S+$|^ *try: |Try: "));
    return word.match(line).hasMatch();
}

} // namespace

// Long ids, paths and texts on a terminal of eighty columns: no line wraps, and what identifies a
// thing is never cut.
class TestOrvanectlTerminal : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void fitsATerminal_data();
    void fitsATerminal();
    void looksAtEveryCommand();

private:
    void runTheTask() const;
    // The lines that a command shows up to the one with this text.
    [[nodiscard]] QStringList shownBy(const QString &line, const QString &until) const;

    std::unique_ptr<Fixture> fixture;
};

void TestOrvanectlTerminal::init()
{
    fixture = std::make_unique<Fixture>();
    fixture->root.serveType(QStringLiteral("Sync"));
    fixture->root.writeApplication(
        application(),
        "[X-Task synchroniseEverything]\nType=Sync\n"
        "Exec=/opt/app/com.example.notes/current/libexec/synchronise --with a --number of --words\n"
        "Permissions=Internet;Documents\n"
        "[X-Task broken]\nType=Sync\nExec=relative\n");
    fixture->root.write(QStringLiteral("/etc/am/conf.d/a-file-of-the-vendor.conf"),
                        "[com.example." + application().toUtf8() + "]\nautostart=true\n");
    fixture->root.write(QStringLiteral("/usr/share/applications/viewer.desktop"),
                        "[Desktop Entry]\nType=Application\nName=V\nExec=/bin/true\n"
                        "MimeType=text/plain\n");
    QVERIFY(fixture->start());
    runTheTask();
}

void TestOrvanectlTerminal::cleanup() { fixture.reset(); }

void TestOrvanectlTerminal::runTheTask() const
{
    fixture->systemd->units = {{unit(), QStringLiteral("active"), QStringLiteral("running")}};
    fixture->systemd->properties.insert(
        unit(),
        {{QStringLiteral("ActiveState"), QStringLiteral("active")},
         {QStringLiteral("MainPID"), 4194304u},
         {QStringLiteral("InvocationID"), QByteArray("0123456789abcdef")},
         {QStringLiteral("StateChangeTimestamp"), quint64(1580702706000000)},
         {QStringLiteral("CPUUsageNSec"), quint64(15000000000000)},
         {QStringLiteral("MemoryCurrent"), quint64(12900000000)},
         {QStringLiteral("ActiveEnterTimestampMonotonic"), quint64(1)}});
    fixture->systemd->processes.insert(unit(), 3);
}

void TestOrvanectlTerminal::fitsATerminal_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QStringList>("pieces");
    for (const Row &row : rows())
        QTest::newRow(qPrintable(row.line)) << row.line << row.pieces;
}

QStringList TestOrvanectlTerminal::shownBy(const QString &line, const QString &until) const
{
    const auto tool = fixture->startToolInTerminal(
        words(line) + QStringList(QStringLiteral("--no-pager")), columns);
    const bool goesOn = line == QLatin1String("top") || line == QLatin1String("watch");
    (void)Fixture::waitUntil([&] {
        return tool->hasEnded()
            || (goesOn && QString::fromUtf8(tool->output().out).contains(until));
    });
    return linesIn(tool->output().out);
}

void TestOrvanectlTerminal::fitsATerminal()
{
    QFETCH(QString, line);
    QFETCH(QStringList, pieces);
    const QStringList shown = shownBy(line, pieces.constLast());
    for (const QString &one : shown)
        QVERIFY2(Cli::displayWidth(one) <= columns || isToBeCopied(one), qPrintable(one));
    const QString text = shown.join(QLatin1Char('\n'));
    for (const QString &piece : qAsConst(pieces))
        QVERIFY2(text.contains(piece), qPrintable(piece + QStringLiteral(" is not in:\n") + text));
}

void TestOrvanectlTerminal::looksAtEveryCommand()
{
    // These show no table or need a journal. The system tests cover them.
    const QStringList rest{QStringLiteral("start"), QStringLiteral("stop"),
                           QStringLiteral("history")};
    for (const Cli::Command &command : Cli::commands())
        QVERIFY2(lookedAt().contains(command.name) != rest.contains(command.name),
                 qPrintable(command.name));
}

int main(int argc, char *argv[])
{
    // The width of a character depends on the encoding.
    qputenv("LC_ALL", "C.UTF-8");
    const QCoreApplication application(argc, argv);
    TestOrvanectlTerminal test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_orvanectl_terminal.moc"

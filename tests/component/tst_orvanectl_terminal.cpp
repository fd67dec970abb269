#include "cli/command.h"
#include "cli/table.h"
#include "support/fixture.h"
#include "support/literals.h"

#include <QRegularExpression>
#include <QTest>

namespace {

constexpr int columns = 80;

QString application() { return u"AnApplicationWithALongName"_s; }

QString task() { return u"com.example.%1.task_synchroniseEverything"_s.arg(application()); }

QString unit() { return u"ov_task.%1.service"_s.arg(task()); }

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
    const QString start = task() + u" --user appuser --set MemoryMax=100M"_s;
    const QString explained = u"autostart explain com.example.%1 --all-users"_s.arg(application());
    return {
        {u"tasks"_s, list("task_broken|seEverything|2020-02-03 04:05")},
        {u"types"_s, list("/task-types/Sync.conf")},
        {u"show "_s + task(), list("(line 10)|.desktop:8|3 program|there is no journal")},
        {u"top"_s, list("PROCESSES|Everything")},
        {u"watch"_s, list("running|Everything|watching")},
        {u"render --origin "_s + start, list(".desktop:10 (Exec)|--set|.desktop")},
        {u"lint"_s, list(".desktop:14|errors:")},
        {u"lint --list-rules"_s, list("RULE|SEVERITY|FINDS")},
        {u"why "_s + task(), list("yes  |no   ")},
        {u"doctor"_s, list("yes  |no   ")},
        {u"handlers text/plain"_s, list("viewer.desktop:5")},
        {u"autostart list --all-users"_s, list("LongName|of-the-vendor.conf:2")},
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
    text.remove(QRegularExpression(u"\033\\[[0-9;]*[A-Za-z]"_s));
    return text.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

// Whether a line is a path, an id (perhaps after a label) or a command. These are not shortened,
// because people copy them.
bool isToBeCopied(const QString &line)
{
    static const QRegularExpression word(u"^(\\w+( \\w+)?)? *\\S+$|^ *try: |Try: "_s);
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
    fixture->root.serveType(u"Sync"_s);
    fixture->root.writeApplication(
        application(),
        "[X-Task synchroniseEverything]\nType=Sync\n"
        "Exec=/opt/app/com.example.notes/current/libexec/synchronise --with a --number of --words\n"
        "Permissions=Internet;Documents\n"
        "[X-Task broken]\nType=Sync\nExec=relative\n");
    fixture->root.write(u"/etc/am/conf.d/a-file-of-the-vendor.conf"_s,
                        "[com.example." + application().toUtf8() + "]\nautostart=true\n");
    fixture->root.write(u"/usr/share/applications/viewer.desktop"_s,
                        "[Desktop Entry]\nType=Application\nName=V\nExec=/bin/true\n"
                        "MimeType=text/plain\n");
    QVERIFY(fixture->start());
    runTheTask();
}

void TestOrvanectlTerminal::cleanup() { fixture.reset(); }

void TestOrvanectlTerminal::runTheTask() const
{
    fixture->systemd->units = {{unit(), u"active"_s, u"running"_s}};
    fixture->systemd->properties.insert(unit(),
                                        {{u"ActiveState"_s, u"active"_s},
                                         {u"MainPID"_s, 4194304u},
                                         {u"InvocationID"_s, QByteArray("0123456789abcdef")},
                                         {u"StateChangeTimestamp"_s, quint64(1580702706000000)},
                                         {u"CPUUsageNSec"_s, quint64(15000000000000)},
                                         {u"MemoryCurrent"_s, quint64(12900000000)},
                                         {u"ActiveEnterTimestampMonotonic"_s, quint64(1)}});
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
    const auto tool =
        fixture->startToolInTerminal(words(line) + QStringList(u"--no-pager"_s), columns);
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
        QVERIFY2(text.contains(piece), qPrintable(piece + u" is not in:\n"_s + text));
}

void TestOrvanectlTerminal::looksAtEveryCommand()
{
    // These show no table or need a journal. The system tests cover them.
    const QStringList rest{u"start"_s, u"stop"_s, u"history"_s};
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

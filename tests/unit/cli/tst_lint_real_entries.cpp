// orvanectl lint on desktop entries that nobody wrote for this project: scripts/fetch-entries takes
// them from Debian packages. They declare no tasks, so that lint has nearly nothing to say.

#include "cli/lint/linter.h"
#include "common/Core/application_catalogue.h"
#include "support/temp_root.h"

#include <QDir>
#include <QFile>
#include <QTest>

namespace {

constexpr int fewestEntries = 200;

// What is right to find. Everything else that is found is a fault of lint.
struct RightFinding
{
    const char *rule;
    const char *file;
    // What the file has to have, so that a later version that lacks it may lack the finding.
    const char *cause;
};

constexpr RightFinding rightFindings[] = {
    // Service is one of KDE's own words. The daemon knows Application, Link and Directory and
    // passes over the rest, so that this entry opens no file, though it has an Exec and a MimeType.
    {"entry-invalid", "org.kde.kdeconnect_open.desktop", "\nType=Service\n"},
};

QString cacheFolder()
{
    const QString cache = qEnvironmentVariable("ORVANE_ENTRY_CACHE");
    const QString ofUser = qEnvironmentVariable("XDG_CACHE_HOME");
    const QString home = qEnvironmentVariable("HOME") + QStringLiteral("/.cache");
    return cache.isEmpty() ? (ofUser.isEmpty() ? home : ofUser) + QStringLiteral("/orvane-entries")
                           : cache;
}

QString treeFolder() { return cacheFolder() + QStringLiteral("/root"); }

QDir entriesFolder() { return QDir(treeFolder() + QStringLiteral("/usr/share/applications")); }

QStringList entries()
{
    return entriesFolder().entryList({QStringLiteral("*.desktop")}, QDir::Files, QDir::Name);
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// "rule file" of each finding.
QStringList linesOf(const Cli::Collected &findings)
{
    QStringList lines;
    for (const Core::Finding &finding : findings.sorted())
        lines.append(QStringLiteral("%1 %2").arg(finding.rule,
                                                 entriesFolder().relativeFilePath(finding.file)));
    return lines;
}

QStringList rightLines()
{
    QStringList lines;
    for (const RightFinding &right : rightFindings) {
        const QString file = QString::fromLatin1(right.file);
        if (contentOf(entriesFolder().filePath(file)).contains(right.cause))
            lines.append(QStringLiteral("%1 %2").arg(QLatin1String(right.rule), file));
    }
    return lines;
}

} // namespace

class TestLintRealEntries : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void readsEveryEntry();
    void findsInTheTreeWhatIsRightToFind();
    void findsInEachFileWhatIsRightToFind();
    void findsATaskThatIsWrongInEachOfThem();
};

void TestLintRealEntries::initTestCase()
{
    if (!entriesFolder().exists())
        QSKIP("there are no desktop entries of Debian packages (scripts/fetch-entries)");
}

void TestLintRealEntries::readsEveryEntry()
{
    Cli::Collected findings;
    const Core::ApplicationCatalogue catalogue(Places::below(treeFolder()), findings);
    const int read = catalogue.applications().size() + catalogue.shadowed().size();
    qInfo("%d entries, %d of them applications", entries().size(), read);
    QVERIFY(read >= fewestEntries);
    QCOMPARE(read + catalogue.invalidFiles().size(), entries().size());
}

void TestLintRealEntries::findsInTheTreeWhatIsRightToFind()
{
    Cli::Collected findings;
    QVERIFY(Cli::lintPath(treeFolder(), Places::below({}), findings));
    QCOMPARE(linesOf(findings), rightLines());
}

void TestLintRealEntries::findsInEachFileWhatIsRightToFind()
{
    Cli::Collected findings;
    for (const QString &name : entries())
        QVERIFY(Cli::lintPath(entriesFolder().filePath(name), Places::below({}), findings));
    QCOMPARE(linesOf(findings), rightLines());
}

// Nothing is found above because nothing is wrong, not because nothing is looked at.
void TestLintRealEntries::findsATaskThatIsWrongInEachOfThem()
{
    const TempRoot root;
    const QString path = QStringLiteral("/entry.desktop");
    const QString right = rightLines().join(QLatin1Char('\n'));
    for (const QString &name : entries()) {
        if (right.contains(name))
            continue;
        root.write(path, contentOf(entriesFolder().filePath(name)) + "\n[X-Task sync]\nExce=x\n");
        Cli::Collected findings;
        QVERIFY(Cli::lintPath(root.path(path), Places::below({}), findings));
        QStringList rules;
        for (const Core::Finding &finding : findings.sorted())
            rules.append(finding.rule);
        QVERIFY2(rules.contains(QStringLiteral("unknown-key")), qPrintable(name));
        QVERIFY2(rules.contains(QStringLiteral("type-missing")), qPrintable(name));
    }
}

QTEST_GUILESS_MAIN(TestLintRealEntries)
#include "tst_lint_real_entries.moc"

// Runs orvanectl lint on desktop entries that were not written for this project:
// scripts/fetch-entries takes them from Debian packages. They declare no tasks, so lint should find
// almost nothing.

#include "cli/lint/linter.h"
#include "common/Core/application_catalogue.h"
#include "support/literals.h"
#include "support/temp_root.h"

#include <QDir>
#include <QFile>
#include <QTest>

namespace {

constexpr int fewestEntries = 200;

// The findings that are correct. Any other is a fault of lint.
struct CorrectFinding
{
    const char *rule;
    const char *file;
    // Text that causes the finding. A later version of the file without it may lack the finding.
    const char *cause;
};

constexpr CorrectFinding correctFindings[] = {
    // Service is a type of KDE. The daemon knows only Application, Link and Directory and ignores
    // the others, so this entry opens no file, although it has an Exec and a MimeType.
    {"entry-invalid", "org.kde.kdeconnect_open.desktop", "\nType=Service\n"},
};

QString cacheFolder()
{
    const QString cache = qEnvironmentVariable("ORVANE_ENTRY_CACHE");
    const QString ofUser = qEnvironmentVariable("XDG_CACHE_HOME");
    const QString home = qEnvironmentVariable("HOME") + u"/.cache"_s;
    return cache.isEmpty() ? (ofUser.isEmpty() ? home : ofUser) + u"/orvane-entries"_s : cache;
}

QString treeFolder() { return cacheFolder() + u"/root"_s; }

QDir entriesFolder() { return QDir(treeFolder() + u"/usr/share/applications"_s); }

QStringList entries()
{
    return entriesFolder().entryList({u"*.desktop"_s}, QDir::Files, QDir::Name);
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// "rule file" for each finding.
QStringList linesOf(const Cli::Collected &findings)
{
    QStringList lines;
    for (const Core::Finding &finding : findings.sorted())
        lines.append(u"%1 %2"_s.arg(finding.rule, entriesFolder().relativeFilePath(finding.file)));
    return lines;
}

QStringList correctLines()
{
    QStringList lines;
    for (const CorrectFinding &right : correctFindings) {
        const QString file = QString::fromLatin1(right.file);
        if (contentOf(entriesFolder().filePath(file)).contains(right.cause))
            lines.append(u"%1 %2"_s.arg(QLatin1String(right.rule), file));
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
    void findsOnlyFaultsInTheTree();
    void findsOnlyFaultsInEachFile();
    void findsAFaultyTaskInEachOfThem();
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
    const auto read = catalogue.applications().size() + catalogue.shadowed().size();
    qInfo().noquote() << entries().size() << "entries," << read << "of them applications";
    QVERIFY(read >= fewestEntries);
    QCOMPARE(read + catalogue.invalidFiles().size(), entries().size());
}

void TestLintRealEntries::findsOnlyFaultsInTheTree()
{
    Cli::Collected findings;
    QVERIFY(Cli::lintPath(treeFolder(), Places::below({}), findings));
    QCOMPARE(linesOf(findings), correctLines());
}

void TestLintRealEntries::findsOnlyFaultsInEachFile()
{
    Cli::Collected findings;
    for (const QString &name : entries())
        QVERIFY(Cli::lintPath(entriesFolder().filePath(name), Places::below({}), findings));
    QCOMPARE(linesOf(findings), correctLines());
}

// Makes sure that the tests above find nothing because nothing is wrong, not because nothing is
// checked.
void TestLintRealEntries::findsAFaultyTaskInEachOfThem()
{
    const TempRoot root;
    const QString path = u"/entry.desktop"_s;
    const QString right = correctLines().join(QLatin1Char('\n'));
    for (const QString &name : entries()) {
        if (right.contains(name))
            continue;
        root.write(path, contentOf(entriesFolder().filePath(name)) + "\n[X-Task sync]\nExce=x\n");
        Cli::Collected findings;
        QVERIFY(Cli::lintPath(root.path(path), Places::below({}), findings));
        QStringList rules;
        for (const Core::Finding &finding : findings.sorted())
            rules.append(finding.rule);
        QVERIFY2(rules.contains(u"unknown-key"_s), qPrintable(name));
        QVERIFY2(rules.contains(u"type-missing"_s), qPrintable(name));
    }
}

QTEST_GUILESS_MAIN(TestLintRealEntries)
#include "tst_lint_real_entries.moc"

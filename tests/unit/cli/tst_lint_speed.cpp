// Checks that orvanectl lint takes only little longer than the daemon's own scan of many entries.

#include "cli/lint/linter.h"
#include "common/Core/application_catalogue.h"
#include "support/literals.h"
#include "support/temp_root.h"

#include <QFile>
#include <QTest>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <limits>

namespace {

constexpr int entries = 5000;
constexpr int rounds = 5;
constexpr int attempts = 8;
constexpr double largestRatio = 1.5;

QString anyProgram() { return u"/usr/libexec/any"_s; }

QByteArray translations(const QByteArray &key)
{
    QByteArray lines;
    for (const char *language :
         {"af", "ar", "be", "bg", "bn", "ca", "cs", "cy", "da", "de", "el", "en_GB",
          "eo", "es", "et", "eu", "fa", "fi", "fr", "ga", "gl", "gu", "he", "hi",
          "hr", "hu", "id", "is", "it", "ja", "ka", "kk", "ko", "lt", "lv", "mk",
          "nb", "nl", "pl", "pt", "ro", "ru", "sk", "sl", "sr", "sv", "tr", "uk"})
        lines += key + '[' + language
            + "]=Notizen f\xc3\xbcr unterwegs, kurz und lang, mit Bildern und Listen\n";
    return lines;
}

// Writes an entry of the average size of Debian's, about 120 lines and 7 KB, with a task and a
// program of its own.
void writeEntry(const TempRoot &root, int number)
{
    const QByteArray name = "notes" + QByteArray::number(number);
    const QString program = u"/usr/libexec/"_s + QString::fromLatin1(name);
    const QByteArray path = root.path(program).toLatin1();
    root.write(u"/usr/share/applications/%1.desktop"_s.arg(QString::fromLatin1(name)),
               "[Desktop Entry]\nType=Application\nName=Notes\n" + translations("Name")
                   + "Comment=Short texts\n" + translations("Comment") + "Exec=/usr/bin/" + name
                   + " %U\nIcon=notes\nTerminal=false\nStartupNotify=true\n"
                     "Categories=Office;Utility;\nMimeType=text/plain;\n\n"
                     "[X-Application]\nOrganizationName=com.example\nApplicationName="
                   + name + "\nPermissions=Internet;Audio\n\n[X-Task sync]\nType=Sync\nExec=" + path
                   + " --once\nPermissions=Internet;Audio\n");
    // Hard links to one file are faster to make than many files.
    std::filesystem::create_hard_link(root.path(anyProgram()).toStdString(), path.toStdString());
}

// The processor time of this thread, which does all the work; other load on the machine is not
// counted.
qint64 now()
{
    timespec time = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return qint64(time.tv_sec) * 1000000 + time.tv_nsec / 1000;
}

// The time that the work takes, in microseconds.
template <typename Work>
qint64 timeOf(const Work &work)
{
    const qint64 start = now();
    work();
    return now() - start;
}

} // namespace

class TestLintSpeed : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void takesLittleLongerThanAScan();

private:
    const TempRoot root;
};

void TestLintSpeed::initTestCase()
{
    root.serveType(u"Sync"_s);
    root.write(u"/etc/sailjail/permissions/Internet.permission"_s, "netfilter\n");
    root.write(u"/etc/sailjail/permissions/Audio.permission"_s, "netfilter\n");
    root.write(anyProgram(), QByteArrayLiteral("\177ELF"));
    QVERIFY(QFile::setPermissions(root.path(anyProgram()), QFile::ReadOwner | QFile::ExeOwner));
    for (int number = 0; number < entries; ++number)
        writeEntry(root, number);
}

void TestLintSpeed::takesLittleLongerThanAScan()
{
    // As on a running system: programs are looked up at their own paths.
    Places places = Places::below(root.path());
    places.programRoot.clear();
    places.permissionFolders = QStringList{root.path(u"/etc/sailjail/permissions/"_s)};
    double ratio = 0;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        // The minimum of the rounds, because other load only adds time.
        qint64 scan = std::numeric_limits<qint64>::max();
        qint64 lint = scan;
        for (int round = 0; round < rounds; ++round) {
            scan = std::min(scan, timeOf([&] {
                                Cli::Collected findings;
                                const Core::ApplicationCatalogue catalogue(places, findings);
                                QCOMPARE(catalogue.applications().size(), entries);
                            }));
            lint = std::min(lint, timeOf([&] {
                                Cli::Collected findings;
                                Cli::lintSystem(places, findings);
                                QVERIFY(findings.sorted().isEmpty());
                            }));
        }
        ratio = static_cast<double>(lint) / static_cast<double>(scan);
        qInfo("scan %lld ms, lint %lld ms, %.2f times", scan / 1000, lint / 1000, ratio);
        if (ratio <= largestRatio)
            break;
    }
    QVERIFY(ratio <= largestRatio);
}

QTEST_GUILESS_MAIN(TestLintSpeed)
#include "tst_lint_speed.moc"

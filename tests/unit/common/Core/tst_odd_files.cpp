// Something unexpected in the place of a file that the catalogue reads: reading does not block or
// crash, and everything else is still served.

#include "common/Core/application_registry.h"
#include "common/Core/findings.h"
#include "common/Core/manifest.h"
#include "common/Core/task_type_config.h"
#include "support/literals.h"
#include "support/odd_file.h"
#include "support/root_places.h"
#include "support/temp_root.h"
#include "unit/common/Core/log_lines.h"

#include <QDir>
#include <QFileInfo>
#include <QTest>
#include <QUrl>

using Core::ApplicationId;
using Core::ApplicationRegistry;

class TestOddFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void servesEverythingElse_data();
    void servesEverythingElse();
    void readsAFileOfExactlyTheBound_data();
    void readsAFileOfExactlyTheBound();

private:
    void setUp();

    std::unique_ptr<TempRoot> root;
};

namespace {

struct Place
{
    const char *path;
    // The text of a valid file.
    const char *text;
};

const Place places[] = {
    {"/usr/share/applications/Odd.desktop",
     "[Desktop Entry]\nType=Application\nName=Odd\n"
     "[X-Application]\nOrganizationName=com.example\nApplicationName=Odd\n"},
    {"/opt/app/com.example.Notes/current/manifest.json", "{}"},
    {"/opt/app/com.example.Notes/current/halcyn.pkg", "[certificate]\nid=abc\n"},
    {"/usr/share/orvane/task-types/Odd.conf", "[TaskType]\nWorksInSession=false\n"},
    {"/etc/orvane/os-version-support.cfg", "[Applications]\n*=5.1.0\n"},
    {"/home/config/mimeapps.list", "[Default Applications]\nx-scheme-handler/odd=Notes.desktop\n"},
};

/// For each of the files: whether the catalogue has its content.
QVector<bool> taken(const Places &where)
{
    Core::Findings &findings = Core::LoggedFindings::instance();
    const ApplicationRegistry registry(where, findings);
    const ApplicationId notes(u"com.example.Notes"_s);
    const auto info = registry.application(notes);
    if (!info.isValid())
        return {};
    return {registry.application(ApplicationId(u"com.example.Odd"_s)).isValid(),
            info.manifest().isValid(),
            info.certificateId() == QLatin1String("abc"),
            !Core::TaskTypeConfig(u"Odd"_s, where, findings).worksInSession(),
            registry.compatibilityLevel(notes) == 1,
            registry.handlersForUri(QUrl(u"odd:x"_s), {}).size() == 1};
}

void addPlaces(const QStringList &kinds)
{
    QTest::addColumn<int>("place");
    QTest::addColumn<QString>("kind");
    for (int place = 0; place < 6; ++place) {
        for (const QString &kind : kinds)
            QTest::addRow("%s in place of %s", qPrintable(kind), places[place].path)
                << place << kind;
    }
}

} // namespace

void TestOddFiles::setUp()
{
    root = std::make_unique<TempRoot>();
    root->writeApplication(u"Notes"_s, {});
}

void TestOddFiles::servesEverythingElse_data() { addPlaces(OddFile::kinds()); }

void TestOddFiles::servesEverythingElse()
{
    QFETCH(int, place);
    QFETCH(QString, kind);
    setUp();
    const QString path = root->path(QString::fromLatin1(places[place].path));
    QVERIFY(QDir().mkpath(QFileInfo(path).path()));
    QVERIFY(OddFile::make(kind, path, places[place].text));
    const LogLines log;
    QCOMPARE(taken(placesOf(*root)), QVector<bool>(6, false));
}

void TestOddFiles::readsAFileOfExactlyTheBound_data() { addPlaces({u"1 MiB"_s}); }

void TestOddFiles::readsAFileOfExactlyTheBound()
{
    QFETCH(int, place);
    setUp();
    root->write(QString::fromLatin1(places[place].path),
                QByteArray(places[place].text).leftJustified(1 << 20, '\n'));
    QVector<bool> expected(6, false);
    expected[place] = true;
    // With a manifest, an application targets the newer platform.
    QCOMPARE(taken(placesOf(*root)), expected);
}

QTEST_GUILESS_MAIN(TestOddFiles)
#include "tst_odd_files.moc"

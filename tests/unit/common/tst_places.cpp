#include "common/places.h"
#include "files/folder_listing.h"
#include "support/literals.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

class TestPlaces : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup();

    void areTheFrameworksOwnForTheDaemon();
    void keepRecordsInTheRuntimeDirectory();
    void tellLanguagesApart();
    void takeTheRootFromTheEnvironment();
    void areAllBelowTheRootOfAnImage();
    void areThoseOfTheWorkingDirectoryBelowARelativeRoot();
    void areTheEnvironmentsUntilSomebodySetsThem();
    void findTheFirstFile();
    void followLinksAsTheImageWould_data();
    void followLinksAsTheImageWould();
    void listFilesBehindLinksOfTheImage();
    void leaveLinksOfThisSystemAlone();
    void areThisSystemsWithoutARoot_data();
    void areThisSystemsWithoutARoot();
};

void TestPlaces::cleanup()
{
    qunsetenv("ORVANE_ROOTFS");
    qunsetenv("ORVANE_COMPONENT_TESTS");
    qunsetenv("RUNTIME_DIRECTORY");
    qunsetenv("LANGUAGE");
}

void TestPlaces::areTheFrameworksOwnForTheDaemon()
{
    QCoreApplication::setApplicationName(u"orvane"_s);
    const Places places = Places::ofEnvironment();
    QCOMPARE(places.applicationFolders,
             QStandardPaths::standardLocations(QStandardPaths::ApplicationsLocation));
    // As the framework determines it, which depends on the name of the process.
    QStringList types = QStandardPaths::standardLocations(QStandardPaths::AppDataLocation);
    types.replaceInStrings(QRegularExpression(u"$"_s), u"/task-types"_s);
    // Without the program's own folder, which the framework lists, too.
    types = types.filter(QRegularExpression(u"/orvane/task-types$"_s));
    types.removeDuplicates();
    QCOMPARE(places.taskTypeFolders, types);
    QCoreApplication::setApplicationName(u"another"_s);
    QCOMPARE(Places::ofEnvironment().taskTypeFolders, places.taskTypeFolders);
    QCOMPARE(places.unitFolder(), u"/etc/systemd/system"_s);
    QCOMPARE(places.policyFolder(), u"/etc/dbus-1/system.d"_s);
    QVERIFY(places.programsAreExamined);
}

void TestPlaces::keepRecordsInTheRuntimeDirectory()
{
    QCOMPARE(Places::ofEnvironment().recordsFile, QString());
    qputenv("RUNTIME_DIRECTORY", "/run/orvane");
    QCOMPARE(Places::ofEnvironment().recordsFile, u"/run/orvane/applications.records"_s);
    QCOMPARE(Places::below(u"/image"_s).recordsFile, QString());
}

void TestPlaces::tellLanguagesApart()
{
    qputenv("LANGUAGE", "de");
    const QString german = Places::ofEnvironment().languages;
    QCOMPARE(Places::ofEnvironment().languages, german);
    qputenv("LANGUAGE", "fi");
    QVERIFY(Places::ofEnvironment().languages != german);
}

void TestPlaces::takeTheRootFromTheEnvironment()
{
    qputenv("ORVANE_ROOTFS", "/image");
    qputenv("ORVANE_COMPONENT_TESTS", "");
    const Places places = Places::ofEnvironment();
    QCOMPARE(places.packageFile(u"a.b"_s, u"manifest.json"_s),
             u"/image/opt/app/a.b/current/manifest.json"_s);
    QCOMPARE(places.versionOverrides(), u"/image/etc/orvane/os-version-support.cfg"_s);
    QCOMPARE(places.unitFolder(), u"/image/etc/systemd/system"_s);
    QCOMPARE(places.systemAutostartFolder(), u"/image/etc/am/conf.d"_s);
    QCOMPARE(places.runtimeAutostartFolder(), u"/image/var/lib/am/apps"_s);
    QCOMPARE(places.process(7), u"/image/proc/7"_s);
    // The daemon uses this system's programs and permissions nevertheless.
    QCOMPARE(places.programRoot, QString());
    QVERIFY(!places.programsAreExamined);
}

void TestPlaces::areAllBelowTheRootOfAnImage()
{
    const Places places = Places::below(u"/image/"_s);
    QCOMPARE(places.root, u"/image"_s);
    QCOMPARE(places.programRoot, u"/image"_s);
    QCOMPARE(places.applicationFolders,
             QStringList(
                 {u"/image/usr/local/share/applications"_s, u"/image/usr/share/applications"_s}));
    QCOMPARE(places.taskTypeFolders,
             QStringList({u"/image/usr/local/share/orvane/task-types"_s,
                          u"/image/usr/share/orvane/task-types"_s}));
    QCOMPARE(places.configFolder, u"/image/root/.config"_s);
    // Without the root, because they are used in a command line inside the image.
    QCOMPARE(places.permissionFolders.constFirst(), u"/etc/sailjail/permissions/"_s);
}

void TestPlaces::areThoseOfTheWorkingDirectoryBelowARelativeRoot()
{
    const QTemporaryDir directory;
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(directory.path()));
    const Places places = Places::below(u"image"_s);
    const QString image = QDir::current().filePath(u"image"_s);
    QVERIFY(QDir::setCurrent(before));
    QCOMPARE(places.root, image);
    QCOMPARE(places.programRoot, image);
    // Below programRoot, so that links are resolved within the image.
    QVERIFY(places.systemAutostartFolder().startsWith(places.programRoot + QLatin1Char('/')));
}

void TestPlaces::areTheEnvironmentsUntilSomebodySetsThem()
{
    for (const char *root : {"/one", "/two"}) {
        qputenv("ORVANE_ROOTFS", root);
        QCOMPARE(Places::ofProcess().root, QString::fromLatin1(root));
    }
    Places::setOfProcess(Places::below(u"/image"_s));
    QCOMPARE(Places::ofProcess().root, u"/image"_s);
}

void TestPlaces::findTheFirstFile()
{
    const QTemporaryDir directory;
    const QString name = u"x"_s;
    const QStringList folders{directory.filePath(u"none"_s), directory.filePath(u"directory"_s),
                              directory.filePath(u"first"_s), directory.filePath(u"second"_s)};
    QCOMPARE(Places().firstFile(folders, name), QString());
    QVERIFY(QDir().mkpath(folders.at(1) + u"/x"_s));
    for (int i = 2; i < 4; ++i) {
        QVERIFY(QDir().mkpath(folders.at(i)));
        QFile file(folders.at(i) + u"/x"_s);
        QVERIFY(file.open(QIODevice::WriteOnly));
    }
    QCOMPARE(Places().firstFile(folders, name), folders.at(2) + u"/x"_s);
}

namespace {

// An image with absolute links, which are broken or have another target when seen from outside.
class Image
{
public:
    Image()
    {
        write("/opt/real/file.conf");
        write("/opt/real/.hidden.conf");
        write("/opt/real/other.CONF");
        write("/opt/real/deep/other.conf");
        // A folder that this system has, too.
        write("/etc");
        link("/opt/real", "/srv/settings");
        link("/opt/real/file.conf", "/opt/real/link.conf");
        link("/etc", "/opt/real/folder-outside.conf");
        link("/opt/real/deep", "/opt/real/folder.conf");
        link("/nowhere", "/opt/real/nowhere.conf");
    }
    [[nodiscard]] QString path(const QString &below) const { return m_root.path() + below; }
    [[nodiscard]] Places places() const { return Places::below(m_root.path()); }

private:
    void write(const char *below) const
    {
        const QString name = path(QLatin1String(below));
        QDir().mkpath(QFileInfo(name).path());
        QFile file(name);
        if (!file.open(QIODevice::WriteOnly))
            qFatal("cannot write %s", below);
    }
    void link(const char *target, const char *below) const
    {
        const QString name = path(QLatin1String(below));
        QDir().mkpath(QFileInfo(name).path());
        if (!QFile::link(QLatin1String(target), name))
            qFatal("cannot link %s", below);
    }

    QTemporaryDir m_root;
};

QStringList namesOf(const QVector<ListedFile> &files)
{
    QStringList names;
    for (const ListedFile &file : files)
        names.append(file.name);
    return names;
}

} // namespace

void TestPlaces::followLinksAsTheImageWould_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("real");
    QTest::newRow("a file") << "/opt/real/file.conf"
                            << "/opt/real/file.conf";
    QTest::newRow("a link") << "/opt/real/link.conf"
                            << "/opt/real/file.conf";
    QTest::newRow("a link behind a linked folder") << "/srv/settings/link.conf"
                                                   << "/opt/real/file.conf";
    QTest::newRow("nothing") << "/srv/settings/none"
                             << "/opt/real/none";
}

void TestPlaces::followLinksAsTheImageWould()
{
    QFETCH(QString, path);
    QFETCH(QString, real);
    const Image image;
    QCOMPARE(image.places().real(image.path(path)), image.path(real));
    QCOMPARE(image.places().real(u"/elsewhere/x"_s), u"/elsewhere/x"_s);
}

void TestPlaces::listFilesBehindLinksOfTheImage()
{
    const Image image;
    const QString folder = image.path(u"/srv/settings"_s);
    QCOMPARE(namesOf(image.places().filesIn(folder, u".conf"_s)),
             QStringList({u"file.conf"_s, u"folder-outside.conf"_s, u"link.conf"_s}));
    // The state of the link's target in the image.
    const FileState target = FileState::of(qPrintable(image.path(u"/opt/real/file.conf"_s)));
    QVERIFY(image.places().filesIn(folder, u"link.conf"_s).at(0).state == target);
    QStringList below = image.places().filesBelow(folder, {u"*.conf"_s});
    below.replaceInStrings(folder + QLatin1Char('/'), QString());
    QCOMPARE(below,
             QStringList({u".hidden.conf"_s, u"deep/other.conf"_s, u"file.conf"_s,
                          u"folder-outside.conf"_s, u"link.conf"_s}));
    QCOMPARE(image.places().firstFile({image.path(u"/none"_s), folder}, u"link.conf"_s),
             folder + u"/link.conf"_s);
}

void TestPlaces::leaveLinksOfThisSystemAlone()
{
    const Image image;
    const QString folder = image.path(u"/opt/real"_s);
    QCOMPARE(Places().real(folder), folder);
    QCOMPARE(namesOf(Places().filesIn(folder, u".conf"_s)), QStringList{u"file.conf"_s});
    QCOMPARE(Places().filesBelow(folder, {u"file*"_s}), QStringList{folder + u"/file.conf"_s});
}

void TestPlaces::areThisSystemsWithoutARoot_data()
{
    QTest::addColumn<QString>("root");
    QTest::newRow("empty") << QString();
    QTest::newRow("a slash") << u"/"_s;
}

void TestPlaces::areThisSystemsWithoutARoot()
{
    QFETCH(QString, root);
    QCOMPARE(Places::below(root).unitFolder(), u"/etc/systemd/system"_s);
}

QTEST_GUILESS_MAIN(TestPlaces)
#include "tst_places.moc"

#include "common/places.h"
#include "files/folder_listing.h"

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
    QCoreApplication::setApplicationName(QStringLiteral("orvane"));
    const Places places = Places::ofEnvironment();
    QCOMPARE(places.applicationFolders,
             QStandardPaths::standardLocations(QStandardPaths::ApplicationsLocation));
    // As the framework determines it, which depends on the name of the process.
    QStringList types = QStandardPaths::standardLocations(QStandardPaths::AppDataLocation);
    types.replaceInStrings(QRegularExpression(QStringLiteral("$")), QStringLiteral("/task-types"));
    // Without the program's own folder, which the framework lists, too.
    types = types.filter(QRegularExpression(QStringLiteral("/orvane/task-types$")));
    types.removeDuplicates();
    QCOMPARE(places.taskTypeFolders, types);
    QCoreApplication::setApplicationName(QStringLiteral("another"));
    QCOMPARE(Places::ofEnvironment().taskTypeFolders, places.taskTypeFolders);
    QCOMPARE(places.unitFolder(), QStringLiteral("/etc/systemd/system"));
    QCOMPARE(places.policyFolder(), QStringLiteral("/etc/dbus-1/system.d"));
    QVERIFY(places.programsAreExamined);
}

void TestPlaces::keepRecordsInTheRuntimeDirectory()
{
    QCOMPARE(Places::ofEnvironment().recordsFile, QString());
    qputenv("RUNTIME_DIRECTORY", "/run/orvane");
    QCOMPARE(Places::ofEnvironment().recordsFile,
             QStringLiteral("/run/orvane/applications.records"));
    QCOMPARE(Places::below(QStringLiteral("/image")).recordsFile, QString());
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
    QCOMPARE(places.packageFile(QStringLiteral("a.b"), QStringLiteral("manifest.json")),
             QStringLiteral("/image/opt/app/a.b/current/manifest.json"));
    QCOMPARE(places.versionOverrides(), QStringLiteral("/image/etc/orvane/os-version-support.cfg"));
    QCOMPARE(places.unitFolder(), QStringLiteral("/image/etc/systemd/system"));
    QCOMPARE(places.systemAutostartFolder(), QStringLiteral("/image/etc/am/conf.d"));
    QCOMPARE(places.runtimeAutostartFolder(), QStringLiteral("/image/var/lib/am/apps"));
    QCOMPARE(places.process(7), QStringLiteral("/image/proc/7"));
    // The daemon uses this system's programs and permissions nevertheless.
    QCOMPARE(places.programRoot, QString());
    QVERIFY(!places.programsAreExamined);
}

void TestPlaces::areAllBelowTheRootOfAnImage()
{
    const Places places = Places::below(QStringLiteral("/image/"));
    QCOMPARE(places.root, QStringLiteral("/image"));
    QCOMPARE(places.programRoot, QStringLiteral("/image"));
    QCOMPARE(places.applicationFolders,
             QStringList({QStringLiteral("/image/usr/local/share/applications"),
                          QStringLiteral("/image/usr/share/applications")}));
    QCOMPARE(places.taskTypeFolders,
             QStringList({QStringLiteral("/image/usr/local/share/orvane/task-types"),
                          QStringLiteral("/image/usr/share/orvane/task-types")}));
    QCOMPARE(places.configFolder, QStringLiteral("/image/root/.config"));
    // Without the root, because they are used in a command line inside the image.
    QCOMPARE(places.permissionFolders.constFirst(), QStringLiteral("/etc/sailjail/permissions/"));
}

void TestPlaces::areThoseOfTheWorkingDirectoryBelowARelativeRoot()
{
    const QTemporaryDir directory;
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(directory.path()));
    const Places places = Places::below(QStringLiteral("image"));
    const QString image = QDir::current().filePath(QStringLiteral("image"));
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
    Places::setOfProcess(Places::below(QStringLiteral("/image")));
    QCOMPARE(Places::ofProcess().root, QStringLiteral("/image"));
}

void TestPlaces::findTheFirstFile()
{
    const QTemporaryDir directory;
    const QString name = QStringLiteral("x");
    const QStringList folders{
        directory.filePath(QStringLiteral("none")), directory.filePath(QStringLiteral("directory")),
        directory.filePath(QStringLiteral("first")), directory.filePath(QStringLiteral("second"))};
    QCOMPARE(Places().firstFile(folders, name), QString());
    QVERIFY(QDir().mkpath(folders.at(1) + QStringLiteral("/x")));
    for (int i = 2; i < 4; ++i) {
        QVERIFY(QDir().mkpath(folders.at(i)));
        QFile file(folders.at(i) + QStringLiteral("/x"));
        QVERIFY(file.open(QIODevice::WriteOnly));
    }
    QCOMPARE(Places().firstFile(folders, name), folders.at(2) + QStringLiteral("/x"));
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
    QCOMPARE(image.places().real(QStringLiteral("/elsewhere/x")), QStringLiteral("/elsewhere/x"));
}

void TestPlaces::listFilesBehindLinksOfTheImage()
{
    const Image image;
    const QString folder = image.path(QStringLiteral("/srv/settings"));
    QCOMPARE(namesOf(image.places().filesIn(folder, QStringLiteral(".conf"))),
             QStringList({QStringLiteral("file.conf"), QStringLiteral("folder-outside.conf"),
                          QStringLiteral("link.conf")}));
    // The state of the link's target in the image.
    const FileState target =
        FileState::of(qPrintable(image.path(QStringLiteral("/opt/real/file.conf"))));
    QVERIFY(image.places().filesIn(folder, QStringLiteral("link.conf")).at(0).state == target);
    QStringList below = image.places().filesBelow(folder, {QStringLiteral("*.conf")});
    below.replaceInStrings(folder + QLatin1Char('/'), QString());
    QCOMPARE(below,
             QStringList({QStringLiteral(".hidden.conf"), QStringLiteral("deep/other.conf"),
                          QStringLiteral("file.conf"), QStringLiteral("folder-outside.conf"),
                          QStringLiteral("link.conf")}));
    QCOMPARE(image.places().firstFile({image.path(QStringLiteral("/none")), folder},
                                      QStringLiteral("link.conf")),
             folder + QStringLiteral("/link.conf"));
}

void TestPlaces::leaveLinksOfThisSystemAlone()
{
    const Image image;
    const QString folder = image.path(QStringLiteral("/opt/real"));
    QCOMPARE(Places().real(folder), folder);
    QCOMPARE(namesOf(Places().filesIn(folder, QStringLiteral(".conf"))),
             QStringList{QStringLiteral("file.conf")});
    QCOMPARE(Places().filesBelow(folder, {QStringLiteral("file*")}),
             QStringList{folder + QStringLiteral("/file.conf")});
}

void TestPlaces::areThisSystemsWithoutARoot_data()
{
    QTest::addColumn<QString>("root");
    QTest::newRow("empty") << QString();
    QTest::newRow("a slash") << QStringLiteral("/");
}

void TestPlaces::areThisSystemsWithoutARoot()
{
    QFETCH(QString, root);
    QCOMPARE(Places::below(root).unitFolder(), QStringLiteral("/etc/systemd/system"));
}

QTEST_GUILESS_MAIN(TestPlaces)
#include "tst_places.moc"

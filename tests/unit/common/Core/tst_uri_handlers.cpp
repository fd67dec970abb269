#include "common/Core/application_registry.h"
#include "common/Core/findings.h"
#include "support/literals.h"
#include "support/root_places.h"
#include "support/temp_root.h"

#include <QFile>
#include <QMimeDatabase>
#include <QRegularExpression>
#include <QTest>
#include <QUrl>

using Core::ApplicationId;
using Core::ApplicationRegistry;
using Core::HandlerFilters;

class TestUriHandlers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup() { registry.reset(); }

    void hasTheSharedMimeDatabase();
    void findsBySchemeThenAddressThenType();
    void asksForAddressesInOrder();
    void skipsExcludedStages_data();
    void skipsExcludedStages();
    void asksForTypesOnlyWithALocalFile();
    void asksFilesInTheOrderOfTheScan();
    void asksTheFileThatCountsInItsPlace();
    void expandsWildcards();
    void asksParentsOfThoseThatWantThem();
    void putsTheUsersChoiceFirst();
    void keepsTheChoiceForTheNextStart();
    void writesOneGroupOnly();
    void takesTheChoicesFromTheirGroupOnly_data();
    void takesTheChoicesFromTheirGroupOnly();
    void readsOddLinesOfTheFile();
    void refusesAnUnknownApplication();
    void saysThatTheFileCannotBeRead();
    void saysThatTheFileCannotBeWritten();
    void saysThatTheDirectoryCannotBeMade();

private:
    static QString file() { return u"/home/config/mimeapps.list"_s; }
    void add(const char *name, const char *mimeTypes, const char *more = "") const
    {
        addAs((QByteArray("/usr/share/applications/") + name + ".desktop").constData(), name,
              mimeTypes, more);
    }
    void addAs(const char *file, const char *name, const char *mimeTypes,
               const char *more = "") const
    {
        root->write(QString::fromLatin1(file),
                    QByteArray("[Desktop Entry]\nType=Application\nName=x\nMimeType=") + mimeTypes
                        + "\n" + more
                        + "\n[X-Application]\nOrganizationName=com.x\nApplicationName=" + name
                        + "\n");
    }
    void load()
    {
        registry = std::make_unique<ApplicationRegistry>(placesOf(*root),
                                                         Core::LoggedFindings::instance());
    }
    /// Names of the applications, without the organisation, joined by blanks.
    [[nodiscard]] QString ask(const char *uri, const HandlerFilters &filters = {}) const
    {
        const QStringList ids = registry->handlersForUri(QUrl(QString::fromLatin1(uri)), filters);
        QStringList names;
        for (const QString &id : ids)
            names.append(id.mid(6));
        return names.join(QLatin1Char(' '));
    }
    void choose(const char *uri, const char *name) const
    {
        registry->setDefaultHandlerForUri(QUrl(QString::fromLatin1(uri)),
                                          ApplicationId(u"com.x"_s, QString::fromLatin1(name)));
    }

    std::unique_ptr<TempRoot> root;
    std::unique_ptr<ApplicationRegistry> registry;
};

void TestUriHandlers::initTestCase()
{
    // The system's MIME database. It is the same for all tests, because Qt keeps its path for some
    // seconds.
    qputenv("XDG_DATA_HOME", "/nowhere");
    qputenv("XDG_DATA_DIRS", "/usr/share");
}

void TestUriHandlers::init()
{
    root = std::make_unique<TempRoot>();
    qputenv("XDG_CONFIG_HOME", root->path(u"/home/config"_s).toUtf8());
}

void TestUriHandlers::hasTheSharedMimeDatabase()
{
    QVERIFY(QMimeDatabase().mimeTypeForName(u"image/png"_s).isValid());
}

void TestUriHandlers::findsBySchemeThenAddressThenType()
{
    add("Type", "image/png;");
    add("Host", "x-url-handler/example.com/a.png;");
    add("Scheme", "x-scheme-handler/ftp;image/png;");
    load();
    QCOMPARE(ask("ftp://example.com/a.png"), u"Scheme Host Type"_s);
    QCOMPARE(ask("sftp://example.com/a.png"), u"Host Scheme Type"_s);
    QCOMPARE(ask("mailto:a@b"), QString());
}

void TestUriHandlers::asksForAddressesInOrder()
{
    add("D", "x-url-handler/h:8080/*;");
    add("C", "x-url-handler/h:8080/a/*;");
    add("B", "x-url-handler/h:8080/a/b;");
    add("A", "x-url-handler/h/*;x-url-handler/h:8080/a;x-url-handler/h;");
    load();
    QCOMPARE(ask("http://h:8080/a/b"), u"D C B"_s);
    QCOMPARE(ask("http://h:8080//a//b/"), u"D C B"_s);
    QCOMPARE(ask("http://h:8080/a"), u"D A"_s);
    QCOMPARE(ask("http://h/"), u"A"_s);
    QCOMPARE(ask("http://h"), u"A"_s);
    QCOMPARE(ask("http://h/x"), u"A"_s);
}

void TestUriHandlers::skipsExcludedStages_data()
{
    QTest::addColumn<QStringList>("hosts");
    QTest::addColumn<QStringList>("schemes");
    QTest::addColumn<QString>("expected");
    const QStringList none;
    const QStringList all{u"all"_s};
    QTest::newRow("none") << none << none << u"Scheme Host Type"_s;
    QTest::newRow("this host") << QStringList{u"x"_s, u"example.com"_s} << none << u"Scheme Type"_s;
    QTest::newRow("all hosts") << all << none << u"Scheme Type"_s;
    QTest::newRow("this scheme") << none << QStringList{u"ftp"_s} << u"Host Type"_s;
    QTest::newRow("all schemes") << none << all << u"Host Type"_s;
    QTest::newRow("everything") << all << all << u"Type"_s;
    QTest::newRow("others") << QStringList{u"ftp"_s} << QStringList{u"example.com"_s}
                            << u"Scheme Host Type"_s;
}

void TestUriHandlers::skipsExcludedStages()
{
    QFETCH(QStringList, hosts);
    QFETCH(QStringList, schemes);
    QFETCH(QString, expected);
    add("Type", "image/png;");
    add("Host", "x-url-handler/example.com/*;");
    add("Scheme", "x-scheme-handler/ftp;");
    load();
    QCOMPARE(ask("ftp://example.com/a.png", {hosts, schemes}), expected);
}

void TestUriHandlers::asksForTypesOnlyWithALocalFile()
{
    add("Type", "image/png;");
    add("Scheme", "x-scheme-handler/file;x-url-handler/localhost/*;");
    load();
    QCOMPARE(ask("file:///tmp/none.png"), u"Type"_s);
}

void TestUriHandlers::asksFilesInTheOrderOfTheScan()
{
    // The order is not by id or path: the user's data folder is first, then files are in order of
    // name.
    addAs("/usr/share/applications/1.desktop", "Y", "image/*;");
    addAs("/usr/share/applications/2.desktop", "A", "image/png;");
    addAs("/home/data/applications/3.desktop", "Z", "image/png;");
    addAs("/home/data/applications/4.desktop", "B", "image/png;");
    load();
    QCOMPARE(ask("file:///none.png"), u"Z B Y A"_s);
}

void TestUriHandlers::asksTheFileThatCountsInItsPlace()
{
    addAs("/usr/share/applications/1.desktop", "A", "image/png;");
    addAs("/usr/share/applications/2.desktop", "B", "image/png;");
    // A file that is named after the id takes precedence over the first file.
    addAs("/usr/share/applications/com.x.A.desktop", "A", "image/png;");
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression(u"^Two entries declare \"com\\.x\\.A\""_s));
    load();
    QCOMPARE(ask("file:///none.png"), u"B A"_s);
}

void TestUriHandlers::expandsWildcards()
{
    add("Images", "image/*;");
    add("Odd", "a/*b*;*b*;");
    load();
    QMimeDatabase database;
    int images = 0;
    const auto types = database.allMimeTypes();
    for (const QMimeType &type : types) {
        if (!type.name().startsWith(QLatin1String("image/")) || type.suffixes().isEmpty())
            continue;
        const QString uri = u"file:///none."_s + type.preferredSuffix();
        if (database.mimeTypeForUrl(QUrl(uri)).name() != type.name())
            continue;
        QCOMPARE(ask(qPrintable(uri)), u"Images"_s);
        ++images;
    }
    QVERIFY(images > 10);
    QCOMPARE(ask("file:///none.txt"), QString());
}

void TestUriHandlers::asksParentsOfThoseThatWantThem()
{
    // C++ source is a subtype of C source, which is a subtype of plain text.
    add("Wants", "text/plain;", "X-Halcyn-Support-Mime-Parents=true");
    add("Not", "text/plain;text/x-csrc;");
    add("Nearer", "text/x-csrc;", "X-Halcyn-Support-Mime-Parents=true");
    add("Own", "text/x-c++src;");
    load();
    QCOMPARE(ask("file:///none.cpp"), u"Own Nearer Wants"_s);
}

void TestUriHandlers::putsTheUsersChoiceFirst()
{
    add("A", "image/png;");
    add("B", "image/png;");
    add("C", "text/plain;");
    load();
    QCOMPARE(ask("file:///none.png"), u"A B"_s);
    choose("file:///other.png", "B");
    QCOMPARE(ask("file:///none.png"), u"B A"_s);
    // An application that does not declare the type may be chosen, too.
    choose("file:///other.png", "C");
    QCOMPARE(ask("file:///none.png"), u"C A B"_s);
    QCOMPARE(ask("file:///none.txt"), u"C"_s);
}

void TestUriHandlers::keepsTheChoiceForTheNextStart()
{
    add("A", "image/png;");
    add("B", "image/png;");
    load();
    choose("file:///x.png", "B");
    load();
    QCOMPARE(ask("file:///none.png"), u"B A"_s);
    // A second choice keeps the first.
    choose("file:///x.txt", "A");
    QCOMPARE(root->read(file()),
             QByteArray("[Default Applications]\nimage/png=B.desktop\ntext/plain=A.desktop\n"));
    // A choice that another program has written since is kept, too.
    root->write(file(), "[Default Applications]\nimage/gif=B.desktop\n");
    choose("file:///x.txt", "B");
    QVERIFY(root->read(file()).contains("image/gif=B.desktop\n"));
}

void TestUriHandlers::writesOneGroupOnly()
{
    add("A", "image/png;");
    root->write(file(),
                "# mine\n[Default Applications]\nimage/gif=A.desktop;gone.desktop;\n[Other]\nx\n");
    load();
    choose("file:///x.png", "A");
    QCOMPARE(root->read(file()),
             QByteArray("[Default Applications]\nimage/gif=A.desktop\nimage/png=A.desktop\n"));
}

void TestUriHandlers::takesTheChoicesFromTheirGroupOnly_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("expected");
    const QByteArray line("image/png=B.desktop;\n");
    const QString chosen = u"B A"_s;
    const QString declared = u"A B"_s;
    QTest::newRow("defaults") << "[Default Applications]\n" + line << chosen;
    QTest::newRow("defaults behind another group")
        << "[Other]\nx\n[Default Applications]\n" + line << chosen;
    QTest::newRow("defaults in two parts")
        << "[Default Applications]\n[Other]\n[Default Applications]\n" + line << chosen;
    QTest::newRow("removed") << "[Removed Associations]\n" + line << declared;
    QTest::newRow("removed behind the defaults")
        << "[Default Applications]\n[Removed Associations]\n" + line << declared;
    QTest::newRow("added") << "[Added Associations]\n" + line << declared;
    QTest::newRow("no group") << line << declared;
}

void TestUriHandlers::takesTheChoicesFromTheirGroupOnly()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, expected);
    add("A", "image/png;");
    add("B", "image/png;");
    root->write(file(), text);
    load();
    QCOMPARE(ask("file:///none.png"), expected);
}

void TestUriHandlers::readsOddLinesOfTheFile()
{
    add("A", "image/png;");
    add("B", "image/png;");
    add("S", "x-scheme-handler/https;");
    add("T", "x-scheme-handler/https;");
    root->write(file(),
                "\n# c=d\n[Default Applications]\r\n"
                "image/png = gone.desktop;B.desktop;;A.desktop;B.desktop\r\n"
                "no separator\nimage/png=A.desktop;\n"
                "x-scheme-handler/https=T.desktop\nimage/gif=gone.desktop");
    load();
    QCOMPARE(ask("file:///none.png"), u"B A"_s);
    QCOMPARE(ask("https://example.com"), u"T S"_s);
    QCOMPARE(ask("file:///none.gif"), QString());
}

void TestUriHandlers::refusesAnUnknownApplication()
{
    root->write(file(), "[Other]\n");
    load();
    QTest::ignoreMessage(QtWarningMsg,
                         "Failed to set \"com.x.None\" as default handler for uri (application "
                         "doesn't exists in the application registry)");
    choose("file:///x.png", "None");
    QCOMPARE(root->read(file()), QByteArray("[Other]\n"));
}

void TestUriHandlers::saysThatTheFileCannotBeRead()
{
    root->write(file() + u"/a-directory"_s, "");
    QTest::ignoreMessage(QtWarningMsg,
                         qPrintable(u"Failed to open file \"%1\""_s.arg(root->path(file()))));
    load();
}

void TestUriHandlers::saysThatTheFileCannotBeWritten()
{
    add("A", "image/png;");
    load();
    root->write(file() + u"/a-directory"_s, "");
    const QByteArray message = u"Failed to open file \"%1\""_s.arg(root->path(file())).toUtf8();
    // Once for reading, once for writing.
    QTest::ignoreMessage(QtWarningMsg, message);
    QTest::ignoreMessage(QtWarningMsg, message);
    choose("file:///x.png", "A");
    QCOMPARE(ask("file:///none.png"), u"A"_s);
}

void TestUriHandlers::saysThatTheDirectoryCannotBeMade()
{
    add("A", "image/png;");
    root->write(u"/home/config"_s, "a file");
    load();
    QTest::ignoreMessage(
        QtWarningMsg,
        qPrintable(u"Failed to create directory \"%1\""_s.arg(root->path(u"/home/config"_s))));
    QTest::ignoreMessage(QtWarningMsg,
                         qPrintable(u"Failed to open file \"%1\""_s.arg(root->path(file()))));
    choose("file:///x.png", "A");
}

QTEST_GUILESS_MAIN(TestUriHandlers)
#include "tst_uri_handlers.moc"

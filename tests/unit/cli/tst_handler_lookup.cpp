#include "cli/handler_lookup.h"
#include "support/literals.h"
#include "support/root_places.h"
#include "support/temp_root.h"

#include <QDir>
#include <QTest>

class TestHandlerLookup : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void distinguishesUrisFromTypes_data();
    void distinguishesUrisFromTypes();
    void givesTheLineThatDecided_data();
    void givesTheLineThatDecided();
    void takesAnAliasForItsType();
};

namespace {

void add(const TempRoot &root, const char *name, const char *mimeTypes, const char *more = "")
{
    root.write(u"/usr/share/applications/%1.desktop"_s.arg(QString::fromLatin1(name)),
               QByteArray("[Desktop Entry]\nType=Application\nName=x\nMimeType=") + mimeTypes + "\n"
                   + more + "[X-Application]\nOrganizationName=com.x\nApplicationName=" + name
                   + "\n");
}

// One line per handler: "com.x.A declared image/png A.desktop:4".
QStringList linesOf(const QString &word, const TempRoot &root)
{
    static const QStringList reasons{u"chosen"_s, u"declared"_s, u"parent"_s};
    QStringList lines;
    for (const Cli::FoundHandler &found : Cli::handlersOf(*Cli::openableIn(word), placesOf(root)))
        lines.append(u"%1 %2 %3 %4:%5"_s
                         .arg(found.handler.application, reasons.at(found.handler.reason),
                              found.handler.type, found.file.section(QLatin1Char('/'), -1))
                         .arg(found.line));
    return lines;
}

} // namespace

void TestHandlerLookup::distinguishesUrisFromTypes_data()
{
    QTest::addColumn<QString>("word");
    QTest::addColumn<QString>("uri");
    QTest::addColumn<QString>("mimeType");
    const QString bytes = u"application/octet-stream"_s;
    const QString png = u"image/png"_s;
    const QString none;
    const auto text = [](const char *word) { return QString::fromLatin1(word); };
    QTest::newRow("web address") << text("https://a.b/c") << text("https://a.b/c") << bytes;
    QTest::newRow("mail address") << text("mailto:a@b") << text("mailto:a@b") << bytes;
    QTest::newRow("file's address") << text("file:///x.png") << text("file:///x.png") << png;
    QTest::newRow("absolute path") << text("/x.png") << text("file:///x.png") << png;
    QTest::newRow("relative path")
        << text("./x.png") << u"file://%1/x.png"_s.arg(QDir::currentPath()) << png;
    QTest::newRow("type") << png << none << png;
    QTest::newRow("unknown type") << text("x/y+z") << none << text("x/y+z");
    QTest::newRow("pseudo-type of a scheme")
        << text("x-scheme-handler/tel") << none << text("x-scheme-handler/tel");
    QTest::newRow("pseudo-type of an address")
        << text("x-url-handler/h:80/a/*") << none << text("x-url-handler/h:80/a/*");
    QTest::newRow("word") << text("word") << none << none;
    QTest::newRow("nothing") << none << none << none;
    QTest::newRow("two slashes") << text("a/b/c") << none << none;
}

void TestHandlerLookup::distinguishesUrisFromTypes()
{
    QFETCH(QString, word);
    QFETCH(QString, uri);
    QFETCH(QString, mimeType);
    const auto openable = Cli::openableIn(word);
    QCOMPARE(openable.has_value(), !mimeType.isEmpty());
    if (openable) {
        QCOMPARE(openable->uri.toString(), uri);
        QCOMPARE(openable->mimeType, mimeType);
    }
}

void TestHandlerLookup::givesTheLineThatDecided_data()
{
    QTest::addColumn<QString>("word");
    QTest::addColumn<QStringList>("expected");
    const auto text = [](const char *word) { return QString::fromLatin1(word); };
    QTest::newRow("two declare it") << text("image/gif")
                                    << QStringList{text("com.x.A declared image/gif A.desktop:4"),
                                                   text("com.x.B declared image/gif B.desktop:4")};
    QTest::newRow("the user has chosen")
        << text("/none.png")
        << QStringList{text("com.x.B chosen image/png mimeapps.list:3"),
                       text("com.x.A declared image/png A.desktop:4")};
    QTest::newRow("the user has chosen one that does not declare it")
        << text("image/bmp") << QStringList{text("com.x.A chosen image/bmp mimeapps.list:5")};
    QTest::newRow("a kind of what it declares")
        << text("text/html") << QStringList{text("com.x.P parent text/plain P.desktop:4")};
    QTest::newRow("scheme, then host")
        << text("https://h/a")
        << QStringList{text("com.x.S declared x-scheme-handler/https S.desktop:4"),
                       text("com.x.H declared x-url-handler/h/* H.desktop:4")};
    QTest::newRow("nobody") << text("audio/ogg") << QStringList();
}

void TestHandlerLookup::givesTheLineThatDecided()
{
    QFETCH(QString, word);
    QFETCH(QStringList, expected);
    const TempRoot root;
    add(root, "A", "image/png;image/gif;");
    add(root, "B", "image/png;image/gif;");
    add(root, "H", "x-url-handler/h/*;");
    add(root, "P", "text/plain;", "X-Halcyn-Support-Mime-Parents=true\n");
    add(root, "S", "x-scheme-handler/https;");
    root.write(u"/home/config/mimeapps.list"_s,
               "# chosen\n[Default Applications]\nimage/png=gone.desktop;B.desktop\n\n"
               "image/bmp=A.desktop\n");
    QCOMPARE(linesOf(word, root), expected);
}

void TestHandlerLookup::takesAnAliasForItsType()
{
    const TempRoot root;
    add(root, "A", "application/pdf;");
    QCOMPARE(linesOf(u"application/x-pdf"_s, root),
             QStringList{u"com.x.A declared application/pdf A.desktop:4"_s});
}

QTEST_GUILESS_MAIN(TestHandlerLookup)
#include "tst_handler_lookup.moc"

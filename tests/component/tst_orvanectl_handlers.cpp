#include "support/literals.h"
#include "support/temp_root.h"
#include "support/tool_process.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

// orvanectl handlers: which application opens what, and which line of which file says so. Works
// without the daemon.
class TestOrvanectlHandlers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { root.reset(); }

    void listsHandlersInOrder();
    void listsHandlersAsJson();
    void looksAtTheChoiceOfAnother();
    void looksAtAnImage();
    void saysThatNobodyOpensIt();
    void refusesAWrongLine_data();
    void refusesAWrongLine();

private:
    [[nodiscard]] ToolOutput run(const QStringList &words) const
    {
        ToolProcess tool(root->environment(), QStringList(u"handlers"_s) + words);
        [&] { QTRY_VERIFY_WITH_TIMEOUT(tool.hasEnded(), 60000); }();
        return tool.output();
    }

    std::unique_ptr<TempRoot> root;
};

void TestOrvanectlHandlers::init()
{
    root = std::make_unique<TempRoot>();
    for (const char *name : {"Ape", "Bee"})
        root->write(u"/usr/share/applications/%1.desktop"_s.arg(QString::fromLatin1(name)),
                    QByteArray("[Desktop Entry]\nType=Application\nName=x\nMimeType=image/png;\n"
                               "[X-Application]\nOrganizationName=com.x\nApplicationName=")
                        + name + "\n");
    root->write(u"/home/config/mimeapps.list"_s, "[Default Applications]\nimage/png=Bee.desktop\n");
    QVERIFY(QFile::link(u"/usr/share/mime"_s, root->path(u"/usr/share/mime"_s)));
}

void TestOrvanectlHandlers::listsHandlersInOrder()
{
    const ToolOutput output = run({u"/none.png"_s});
    QCOMPARE(output.errors, QByteArray());
    QCOMPARE(
        QString::fromUtf8(output.out),
        u"1  com.x.Bee\n"
        "   chosen image/png, %1/home/config/mimeapps.list:2\n"
        "2  com.x.Ape\n"
        "   declared image/png, %1/usr/share/applications/Ape.desktop:4\n"_s.arg(root->path()));
    QCOMPARE(output.status, 0);
}

void TestOrvanectlHandlers::listsHandlersAsJson()
{
    const ToolOutput output = run({u"/none.png"_s, u"--json"_s});
    const QJsonObject object = QJsonDocument::fromJson(output.out).object();
    QCOMPARE(object.value(u"asked"_s).toString(), u"/none.png"_s);
    QCOMPARE(object.value(u"mimeType"_s).toString(), u"image/png"_s);
    const QJsonArray handlers = object.value(u"handlers"_s).toArray();
    QCOMPARE(handlers.size(), 2);
    QCOMPARE(handlers.at(0).toObject(),
             QJsonObject({{u"application"_s, u"com.x.Bee"_s},
                          {u"type"_s, u"image/png"_s},
                          {u"because"_s, u"chosen"_s},
                          {u"file"_s, root->path(u"/home/config/mimeapps.list"_s)},
                          {u"line"_s, 2}}));
}

void TestOrvanectlHandlers::looksAtTheChoiceOfAnother()
{
    root->write(u"/etc/passwd"_s, "other:x:77:77::/home/other:/bin/sh\n");
    root->write(u"/home/other/.config/mimeapps.list"_s,
                "[Default Applications]\nimage/png=Ape.desktop\n");
    const QStringList image{u"image/png"_s, u"--root"_s, root->path()};
    for (const char *user : {"other", "77"}) {
        const ToolOutput output = run(image + QStringList{u"--user"_s, QString::fromLatin1(user)});
        QVERIFY2(output.out.startsWith("1  com.x.Ape\n   chosen"), output.out.constData());
    }
    const ToolOutput nobody = run(image + QStringList{u"--user"_s, u"third"_s});
    QCOMPARE(nobody.errors, QByteArray("orvanectl: there is no user third\n"));
    QCOMPARE(nobody.status, 1);
}

void TestOrvanectlHandlers::looksAtAnImage()
{
    const TempRoot empty;
    const ToolOutput output = run({u"image/png"_s, u"--root"_s, empty.path()});
    QCOMPARE(output.out, QByteArray());
    QCOMPARE(output.status, 1);
}

void TestOrvanectlHandlers::saysThatNobodyOpensIt()
{
    const ToolOutput output = run({u"tel:1"_s, u"--json"_s});
    QCOMPARE(output.status, 1);
    QCOMPARE(output.errors,
             QByteArray("orvanectl: no installed application opens tel:1 "
                        "(application/octet-stream); an application declares its types with "
                        "MimeType= in its desktop entry\n"));
    QVERIFY(QJsonDocument::fromJson(output.out).object().value(u"handlers"_s).toArray().isEmpty());
}

void TestOrvanectlHandlers::refusesAWrongLine_data()
{
    QTest::addColumn<QStringList>("line");
    QTest::newRow("nothing") << QStringList();
    QTest::newRow("neither") << QStringList{u"word"_s};
    QTest::newRow("two") << QStringList{u"a:b"_s, u"c:d"_s};
}

void TestOrvanectlHandlers::refusesAWrongLine()
{
    QFETCH(QStringList, line);
    QCOMPARE(run(line).status, 2);
}

QTEST_GUILESS_MAIN(TestOrvanectlHandlers)
#include "tst_orvanectl_handlers.moc"

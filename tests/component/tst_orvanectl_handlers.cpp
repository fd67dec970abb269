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
        ToolProcess tool(root->environment(), QStringList(QStringLiteral("handlers")) + words);
        [&] { QTRY_VERIFY_WITH_TIMEOUT(tool.hasEnded(), 60000); }();
        return tool.output();
    }

    std::unique_ptr<TempRoot> root;
};

void TestOrvanectlHandlers::init()
{
    root = std::make_unique<TempRoot>();
    for (const char *name : {"Ape", "Bee"})
        root->write(
            QStringLiteral("/usr/share/applications/%1.desktop").arg(QString::fromLatin1(name)),
            QByteArray("[Desktop Entry]\nType=Application\nName=x\nMimeType=image/png;\n"
                       "[X-Application]\nOrganizationName=com.x\nApplicationName=")
                + name + "\n");
    root->write(QStringLiteral("/home/config/mimeapps.list"),
                "[Default Applications]\nimage/png=Bee.desktop\n");
    QVERIFY(QFile::link(QStringLiteral("/usr/share/mime"),
                        root->path(QStringLiteral("/usr/share/mime"))));
}

void TestOrvanectlHandlers::listsHandlersInOrder()
{
    const ToolOutput output = run({QStringLiteral("/none.png")});
    QCOMPARE(output.errors, QByteArray());
    QCOMPARE(QString::fromUtf8(output.out),
             QStringLiteral("1  com.x.Bee\n"
                            "   chosen image/png, %1/home/config/mimeapps.list:2\n"
                            "2  com.x.Ape\n"
                            "   declared image/png, %1/usr/share/applications/Ape.desktop:4\n")
                 .arg(root->path()));
    QCOMPARE(output.status, 0);
}

void TestOrvanectlHandlers::listsHandlersAsJson()
{
    const ToolOutput output = run({QStringLiteral("/none.png"), QStringLiteral("--json")});
    const QJsonObject object = QJsonDocument::fromJson(output.out).object();
    QCOMPARE(object.value(QStringLiteral("asked")).toString(), QStringLiteral("/none.png"));
    QCOMPARE(object.value(QStringLiteral("mimeType")).toString(), QStringLiteral("image/png"));
    const QJsonArray handlers = object.value(QStringLiteral("handlers")).toArray();
    QCOMPARE(handlers.size(), 2);
    QCOMPARE(handlers.at(0).toObject(),
             QJsonObject({{QStringLiteral("application"), QStringLiteral("com.x.Bee")},
                          {QStringLiteral("type"), QStringLiteral("image/png")},
                          {QStringLiteral("because"), QStringLiteral("chosen")},
                          {QStringLiteral("file"),
                           root->path(QStringLiteral("/home/config/mimeapps.list"))},
                          {QStringLiteral("line"), 2}}));
}

void TestOrvanectlHandlers::looksAtTheChoiceOfAnother()
{
    root->write(QStringLiteral("/etc/passwd"), "other:x:77:77::/home/other:/bin/sh\n");
    root->write(QStringLiteral("/home/other/.config/mimeapps.list"),
                "[Default Applications]\nimage/png=Ape.desktop\n");
    const QStringList image{QStringLiteral("image/png"), QStringLiteral("--root"), root->path()};
    for (const char *user : {"other", "77"}) {
        const ToolOutput output =
            run(image + QStringList{QStringLiteral("--user"), QString::fromLatin1(user)});
        QVERIFY2(output.out.startsWith("1  com.x.Ape\n   chosen"), output.out.constData());
    }
    const ToolOutput nobody =
        run(image + QStringList{QStringLiteral("--user"), QStringLiteral("third")});
    QCOMPARE(nobody.errors, QByteArray("orvanectl: there is no user third\n"));
    QCOMPARE(nobody.status, 1);
}

void TestOrvanectlHandlers::looksAtAnImage()
{
    const TempRoot empty;
    const ToolOutput output =
        run({QStringLiteral("image/png"), QStringLiteral("--root"), empty.path()});
    QCOMPARE(output.out, QByteArray());
    QCOMPARE(output.status, 1);
}

void TestOrvanectlHandlers::saysThatNobodyOpensIt()
{
    const ToolOutput output = run({QStringLiteral("tel:1"), QStringLiteral("--json")});
    QCOMPARE(output.status, 1);
    QCOMPARE(output.errors,
             QByteArray("orvanectl: no installed application opens tel:1 "
                        "(application/octet-stream); an application declares its types with "
                        "MimeType= in its desktop entry\n"));
    QVERIFY(QJsonDocument::fromJson(output.out)
                .object()
                .value(QStringLiteral("handlers"))
                .toArray()
                .isEmpty());
}

void TestOrvanectlHandlers::refusesAWrongLine_data()
{
    QTest::addColumn<QStringList>("line");
    QTest::newRow("nothing") << QStringList();
    QTest::newRow("neither") << QStringList{QStringLiteral("word")};
    QTest::newRow("two") << QStringList{QStringLiteral("a:b"), QStringLiteral("c:d")};
}

void TestOrvanectlHandlers::refusesAWrongLine()
{
    QFETCH(QStringList, line);
    QCOMPARE(run(line).status, 2);
}

QTEST_GUILESS_MAIN(TestOrvanectlHandlers)
#include "tst_orvanectl_handlers.moc"

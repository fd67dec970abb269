#include "common/key_file_lines.h"
#include "support/literals.h"

#include <QTest>

class TestKeyFileLines : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void findsGroupsAndKeys_data();
    void findsGroupsAndKeys();
    void hasNothingOfAFileThatIsNotThere();
};

void TestKeyFileLines::findsGroupsAndKeys_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("group");
    QTest::addColumn<QString>("key");
    QTest::addColumn<int>("line");
    const auto row = [](const char *name, const QByteArray &text, const char *group,
                        const char *key, int line) {
        QTest::newRow(name) << text << QString::fromUtf8(group) << QString::fromUtf8(key) << line;
    };
    row("a group", "[a]\n[X-Task sync]\n", "X-Task sync", "", 2);
    row("no such group", "[a]\n", "b", "", 0);
    row("a longer name", "[ab]\n[a]\n", "a", "", 2);
    row("the last of its headers", "[a]\n[b]\n[a]\n", "a", "", 3);
    row("blanks before and behind", "\n  [a] \n", "a", "", 2);
    row("a group in letters of another script", "[\xc3\xa4]\n", "\xc3\xa4", "", 1);
    row("no line end at the end", "x\n[a]", "a", "", 2);
    row("a key", "[a]\nb=c\nd=e\n", "a", "d", 3);
    row("a key with blanks", "[a]\n\t d \t= e\n", "a", "d", 2);
    row("a key of another group", "[a]\n[b]\nd=e\n", "a", "d", 0);
    row("a key whose name is longer", "[a]\nde=f\nd[x]=g\nd=h\n", "a", "d", 4);
    row("a translation", "[a]\nd=e\nd[x]=f\n", "a", "d[x]", 3);
    row("the last of a key", "[a]\nd=e\n[b]\nd=f\n[a]\nd=g\n", "a", "d", 6);
    row("a comment", "[a]\n#d=e\n", "a", "d", 0);
    row("other line ends", "[a]\r\n\r\nd=e\r\n", "a", "d", 3);
    row("nothing", "", "a", "", 0);
    row("empty lines", "\n\n", "a", "d", 0);
}

void TestKeyFileLines::findsGroupsAndKeys()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, group);
    QFETCH(QString, key);
    QFETCH(int, line);
    const KeyFileLines lines(text);
    QCOMPARE(key.isEmpty() ? lines.of(group) : lines.of(group, key), line);
}

void TestKeyFileLines::hasNothingOfAFileThatIsNotThere()
{
    QCOMPARE(KeyFileLines::ofFile(u"/nonexistent"_s).of(u"a"_s), 0);
}

QTEST_APPLESS_MAIN(TestKeyFileLines)
#include "tst_key_file_lines.moc"

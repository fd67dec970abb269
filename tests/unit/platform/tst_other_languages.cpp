#include <QTest>

#include <other_languages.h>

class TestOtherLanguages : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void leavesOutNothingElse_data();
    void leavesOutNothingElse();
    void leavesOutAnyNumberOfLanguages();
};

namespace {

QByteArray own(const QByteArray &text)
{
    static const char *const languages[] = {"de_AT", "de", "C", nullptr};
    const KeyFileText kept = withoutOtherLanguages(text, languages);
    return QByteArray(kept.constData(), static_cast<int>(kept.size()));
}

} // namespace

void TestOtherLanguages::leavesOutNothingElse_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("kept");
    const auto all = [](const char *name, const char *text) {
        QTest::newRow(name) << QByteArray(text) << QByteArray(text);
    };
    const auto part = [](const char *name, const char *text, const char *kept) {
        QTest::newRow(name) << QByteArray(text) << QByteArray(kept);
    };
    all("empty", "");
    all("no translation", "[A]\nName=a\n\n# Name[fr]=b\n");
    all("own languages", "[A]\nName[de]=a\nName[DE_at]=b\nName[C]=c\n");
    part("others", "[A]\nName[fr]=a\nName=b\nName[zh_Hant.UTF-8@x-y]=c\n[B]\nX-1[de_CH]=d\nC=e\n",
         "[A]\nName=b\n[B]\nC=e\n");
    part("start of an own language", "[A]\nName[d]=a\nName[de_A]=b\n", "[A]\n");
    part("no line break at the end", "[A]\nName[fr]=a", "[A]\n");
    part("line breaks of two characters", "[A]\r\nName[fr]=a\r\nName=b\r\n", "[A]\r\nName=b\r\n");
    part("value with brackets", "[A]\nName[fr]=[x]=\nName=b\n", "[A]\nName=b\n");
    all("in front of the first group", "Name[fr]=a\n[A]\n");
    all("blank in front", "[A]\n Name[fr]=a\n");
    all("blank behind", "[A]\nName[fr] =a\n");
    all("blank in the key", "[A]\nMy Name[fr]=a\n");
    all("no key", "[A]\n[fr]=a\n");
    all("no language", "[A]\nName[]=a\n");
    all("bracket that does not close", "[A]\nName[fr=a\n");
    all("more behind the bracket", "[A]\nName[fr]x=a\n");
    all("no value", "[A]\nName[fr]\n");
    all("end in the key", "[A]\nNam");
    all("end in the language", "[A]\nName[f");
    all("end behind the language", "[A]\nName[fr]");
    all("key that is not ASCII", "[A]\nN\xc3\xa4me[fr]=a\n");
    all("language that is not ASCII", "[A]\nName[fr\xc3\xa4]=a\n");
    QTest::newRow("zero byte in the key")
        << QByteArray("[A]\nName\0[fr]=a\n", 16) << QByteArray("[A]\nName\0[fr]=a\n", 16);
}

void TestOtherLanguages::leavesOutNothingElse()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, kept);
    QCOMPARE(own(text), kept);
}

void TestOtherLanguages::leavesOutAnyNumberOfLanguages()
{
    QByteArray others;
    for (int i = 0; i < 100000; ++i)
        others += "Name[x" + QByteArray::number(i) + "]=a\n";
    const QByteArray rest = "[A]\nName=" + QByteArray(100000, 'b') + "\n";
    QCOMPARE(own(rest + others), rest);
}

QTEST_GUILESS_MAIN(TestOtherLanguages)
#include "tst_other_languages.moc"

// QSettings is the reference: the reader has to give the same result for any file, except for
// values that begin with "@".

#include "common/ini_file.h"
#include "support/literals.h"
#include "support/settings_library.h"

#include <QFile>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

#include <ctime>
#include <random>

class TestIniFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsWhatTheSettingsLibraryReads_data();
    void readsWhatTheSettingsLibraryReads();
    void readsWhatTheSettingsLibraryWrites_data();
    void readsWhatTheSettingsLibraryWrites();
    void readsLatin1UnlessUtf8IsMarked_data();
    void readsLatin1UnlessUtf8IsMarked();
    void readsAnythingAsTheSettingsLibraryDoes();
    void takesSerialisedValuesAsText_data();
    void takesSerialisedValuesAsText();
    void tellsTheLineOfAKey_data();
    void tellsTheLineOfAKey();
    void answersNothingForAMissingKey();
    void needsLittleTimeForAnyMebibyte_data();
    void needsLittleTimeForAnyMebibyte();

private:
    void compare(const QByteArray &text);

    QTemporaryDir m_directory;
    int m_number = 0;
};

namespace {

QByteArray repeated(const QByteArray &piece, int size = 1 << 20)
{
    return piece.repeated(size / piece.size());
}

} // namespace

// A new file for each text, because QSettings caches files by name.
void TestIniFile::compare(const QByteArray &text)
{
    if (!settingsLibraryReadsAlike(text))
        return;
    const QString path = m_directory.filePath(QString::number(++m_number));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(text), qint64(text.size()));
    file.close();

    QSettings reference(path, QSettings::IniFormat);
    const IniFile read(text);
    const QByteArray shown = text.toPercentEncoding();
    QVERIFY2(read.groups() == reference.childGroups(), shown.constData());
    const QStringList groups = reference.childGroups();
    for (const QString &group : groups) {
        reference.beginGroup(group);
        const QStringList keys = reference.allKeys();
        reference.endGroup();
        if (group.isEmpty())
            continue; // Asks for all keys.
        QVERIFY2(read.keys(group) == keys, shown.constData());
    }
    const QStringList keys = reference.allKeys();
    for (const QString &key : keys) {
        // QSettings cannot be asked for a name that is empty or has an empty part.
        if (key.isEmpty() || key.startsWith(QLatin1Char('/')) || key.endsWith(QLatin1Char('/'))
            || key.contains(QLatin1String("//")))
            continue;
        const QVariant value = reference.value(key);
        const auto found = read.value({}, key);
        QVERIFY2(found.has_value(), shown.constData());
        QVERIFY2(found->text == value.toString(), shown.constData());
        QVERIFY2(found->isList == (value.userType() != QMetaType::QString), shown.constData());
    }
}

void TestIniFile::readsWhatTheSettingsLibraryReads_data()
{
    QTest::addColumn<QByteArray>("text");
    const auto row = [](const char *name, const QByteArray &text) { QTest::newRow(name) << text; };
    row("nothing", "");
    row("one key", "[a]\nb=c\n");
    row("a key outside groups", "b=c\n[a]\nd=e\n");
    row("the general group", "[General]\nb=c\n[GENERAL]\nd=e\n");
    row("a group that is called general", "[%General]\nb=c\n");
    row("no line end at the end", "[a]\nb=c");
    row("other line ends", "[a]\r\nb=c\r\nd=e\r[f]\n\rg=h\n\r");
    row("blanks everywhere", "  [ a ]  \n\t b \t=\t c  d \t\n \n");
    row("an empty value", "[a]\nb=\nc= \n");
    row("an empty key", "[a]\n=b\n");
    row("no separator", "[a]\nb\nc=d\n");
    row("two separators", "[a]\nb=c=d\n");
    row("comments", "; x=y\n[a]\n;x=y\nb=c;d=e\nf=\"g;h\"\n#i=j\n");
    row("a comment behind a group", "[a] ; b=c\nd=e\n");
    row("quotes", "[a]\nb=\" c \"\nd=\"e\"\"f\"\ng=h \"i\" j\nk=\"l\\\"m\"\n");
    row("an open quote", "[a]\nb=\"c\nd=e\n[f]\ng=h\n");
    row("a value over two lines in quotes", "[a]\nb=\"c\nd\"\ne=f\n");
    row("a list", "[a]\nb=c,d\ne=f , g\nh=\"i,j\"\nk=l,\nm=,\n");
    row("a list of quoted", "[a]\nb=\"c\", \"d\"\n");
    row("escapes", "[a]\nb=\\a\\b\\f\\n\\r\\t\\v\\\"\\?\\'\\\\\\q\\z\n");
    row("numbers", "[a]\nb=\\x41\\x1F600z\\x\\xg\\101\\1234567\\8\n");
    row("blanks that are escaped", "[a]\nb=c\\x20 \nd=\\x20\ne=f\\t\n");
    row("continued lines", "[a]\nb=c\\\nd\ne=f\\\r\ng\nh=i\\\n");
    row("a backslash at the end", "[a]\nb=c\\");
    row("percent escapes", "[a%20b|%7C]\nc%2Fd=e\n%U20AC%=f\n%4=g\n%ZZ=h\n%U12=i\n%\n%+1=j\n");
    row("slashes in names", "[a/b]\nc=d\n[a]\nb\\c=e\nb/f=g\n[a\\h]\ni=j\n");
    row("two groups of one name", "[a]\nb=c\nd=e\n[f]\ng=h\n[a]\nb=i\n");
    row("two keys of one name", "[a]\nb=c\nb=d\nB=e\n[A]\nb=f\n");
    row("Latin-1", "[\xe4]\n\xf6=\xfc\n");
    row("UTF-8 without its mark", "[a]\nb=\xc3\xa4\n");
    row("UTF-8 with its mark", "\xef\xbb\xbf[a]\nb=\xc3\xa4 \xff\xe2\x82\n\xc3\xa4=c\n");
    row("UTF-8 with its mark and no group", "\xef\xbb\xbf\nb=\xc3\xa4\n");
    row("brackets", "[a\nb=c\n[d]e=f\ng=h\n[]\ni=j\n[[k]]\nl=m\nn=[o]\n");
    row("zero bytes", QByteArray("[a\0b]\nc\0d=e\0f\n", 15));
    row("an autostart setting", "[com.example.Notes%7C100000]\nautostart=true\n");
    row("a package", "[certificate]\nid=\"ab:cd\"\n");
}

void TestIniFile::readsWhatTheSettingsLibraryReads()
{
    QFETCH(QByteArray, text);
    compare(text);
}

void TestIniFile::readsWhatTheSettingsLibraryWrites_data()
{
    QTest::addColumn<QStringList>("texts");
    const QStringList ascii{u" blanks "_s, u"a;b,c=d\"e\\f"_s, QString(),
                            u"two\nlines\t\r\x01\x7f"_s};
    QTest::newRow("ASCII") << ascii;
    QTest::newRow("other characters too")
        << ascii + QStringList(QString::fromUtf8("\u00e4\u20ac\U0001F600"));
}

void TestIniFile::readsWhatTheSettingsLibraryWrites()
{
    QFETCH(QStringList, texts);
    const QString path = m_directory.filePath(u"written%1"_s.arg(texts.size()));
    {
        QSettings settings(path, QSettings::IniFormat);
        for (const QString &text : texts)
            settings.setValue(u"g%1/k%1"_s.arg(text).remove(QLatin1Char('/')), text);
        settings.beginGroup(u"com.example.Notes|5"_s);
        settings.setValue(u"list"_s, texts);
        settings.setValue(u"number"_s, 5);
    }
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    compare(file.readAll());
}

void TestIniFile::readsLatin1UnlessUtf8IsMarked_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("group");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");
    const auto row = [](const char *name, const QByteArray &text, const char *group,
                        const char *key, const char *value) {
        QTest::newRow(name) << text << QString::fromUtf8(group) << QString::fromUtf8(key)
                            << QString::fromUtf8(value);
    };
    row("Latin-1", "[\xe4]\n\xf6=\xfc\n", "\u00e4", "\u00f6", "\u00fc");
    row("UTF-8 without its mark", "[a]\nb=\xc3\xa4\n", "a", "b", "\u00c3\u00a4");
    row("UTF-8 with its mark", "\xef\xbb\xbf[a]\nb=\xc3\xa4\n", "a", "b", "\u00e4");
    row("a name behind the mark", "\xef\xbb\xbf[a]\n\xc3\xa4=c\n", "a", "\u00c3\u00a4", "c");
    row("an escape", "[a]\nb=\\xe4\\x20ac\n", "a", "b", "\u00e4\u20ac");
    row("a name that is escaped", "[a]\n%E4%U20AC=c\n", "a", "\u00e4\u20ac", "c");
}

void TestIniFile::readsLatin1UnlessUtf8IsMarked()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, group);
    QFETCH(QString, key);
    QFETCH(QString, value);
    const IniFile file(text);
    QCOMPARE(file.groups(), QStringList{group});
    QCOMPARE(file.keys(group), QStringList{key});
    const auto found = file.value(group, key);
    QVERIFY(found.has_value());
    QCOMPARE(found->text, value);
    QVERIFY(!found->isList);
}

// Random texts of characters that have a meaning in the format. The seed is fixed, so that a
// failure is reproducible.
void TestIniFile::readsAnythingAsTheSettingsLibraryDoes()
{
    const QVector<QByteArray> pieces{
        "[",    "]",        "=", "\n", "\r",      ";",        "\\",    "\"",   "%", "%U",     "2F",
        "7C",   ",",        " ", "\t", "a",       "b",        "[a]\n", "\nb=", "/", "x",      "41",
        "\xe4", "\xc3\xa4", "#", "|",  "General", "%general", "\v",    "\f",   "7", "\n[a]\n"};
    std::mt19937 random(1);
    for (int i = 0; i < 3000; ++i) {
        QByteArray text = i % 20 == 0 ? QByteArray("\xef\xbb\xbf") : QByteArray();
        for (auto length = random() % 40; length > 0; --length)
            text += pieces.at(static_cast<int>(random()) & 31);
        compare(text);
        if (QTest::currentTestFailed())
            return;
    }
}

void TestIniFile::takesSerialisedValuesAsText_data()
{
    QTest::addColumn<QByteArray>("value");
    for (const char *value : {"@Variant(\\0\\0\\0\\b\\xff\\xff\\xff\\xff)", "@ByteArray(x)",
                              "@Rect(1 2 3 4)", "@Invalid()", "@", "@x"})
        QTest::newRow(value) << QByteArray(value);
}

void TestIniFile::takesSerialisedValuesAsText()
{
    QFETCH(QByteArray, value);
    const auto read = IniFile("[a]\nb=\"" + value + "\"\n").value(u"a"_s, u"b"_s);
    QVERIFY(read.has_value());
    QVERIFY(!read->isList);
    QVERIFY(read->text.startsWith(QLatin1Char('@')));
    if (!value.contains('\\'))
        QCOMPARE(read->text, QString::fromLatin1(value));
}

void TestIniFile::tellsTheLineOfAKey_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<int>("line");
    const auto row = [](const char *name, const QByteArray &text, int line) {
        QTest::newRow(name) << text << line;
    };
    row("behind the header", "[a]\nb=c\n", 2);
    row("behind comments and empty lines", "; x\n\n[a] ; y\n\n;b=d\n  b = c", 6);
    row("in the second of two groups of a name", "[a]\nd=e\n[f]\nb=g\n[a]\nb=c\n", 6);
    row("the last of two", "[a]\nb=d\nb=c\n", 3);
    row("behind a value over two lines", "[a]\nd=\"e\nf\"\nb=c\n", 4);
    row("behind a continued line", "[a]\nd=e\\\nf\nb=c\n", 4);
    row("other line ends", "[a]\r\nd=e\r\nb=c\r\n", 3);
    row("behind the mark of UTF-8", "\xef\xbb\xbf[a]\nb=c\n", 2);
}

void TestIniFile::tellsTheLineOfAKey()
{
    QFETCH(QByteArray, text);
    QFETCH(int, line);
    const auto value = IniFile(text).value(u"a"_s, u"b"_s);
    QVERIFY(value.has_value());
    QCOMPARE(value->text, u"c"_s);
    QCOMPARE(value->line, line);
}

void TestIniFile::answersNothingForAMissingKey()
{
    const IniFile file("[a]\nb=c\n[d/e]\nf=g\n");
    const QString key = u"b"_s;
    QVERIFY(file.value(u"a"_s, key).has_value());
    QVERIFY(!file.value({}, key).has_value());
    QVERIFY(!file.value(u"d"_s, key).has_value());
    QVERIFY(!file.value(u"d"_s, u"e"_s).has_value());
    QVERIFY(file.value(u"d"_s, u"e/f"_s).has_value());
    QVERIFY(!file.value(u"none"_s, key).has_value());
    QVERIFY(!IniFile(QByteArray()).value({}, {}).has_value());
}

void TestIniFile::needsLittleTimeForAnyMebibyte_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("open brackets") << repeated("[\n");
    QTest::newRow("a group with a long name and many keys")
        << "[" + repeated("a", 1 << 19) + "]\n" + repeated("b=\n", 1 << 19);
    QTest::newRow("a long name and many different keys") << [] {
        QByteArray text = "[" + repeated("a", 1 << 19) + "]\n";
        for (int i = 0; text.size() < 1 << 20; ++i)
            text += QByteArray::number(i, 36) + "=\n";
        return text;
    }();
    QTest::newRow("one list") << "[a]\nb=" + repeated(",");
    QTest::newRow("escapes") << "[a]\nb=" + repeated("\\x41");
    QTest::newRow("percent signs") << "[a]\n" + repeated("%") + "=b";
    QTest::newRow("comments") << repeated(";\n");
    QTest::newRow("empty lines") << repeated("\n");
    QTest::newRow("one group many times") << repeated("[a]\n");
    QTest::newRow("quotes") << "[a]\nb=" + repeated("\"");
}

void TestIniFile::needsLittleTimeForAnyMebibyte()
{
    QFETCH(QByteArray, text);
    // Processor time, so that other processes do not count: some hundredths of a second.
    const std::clock_t start = std::clock();
    const IniFile file(text);
    QVERIFY(file.groups().size() < 3);
    const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    QVERIFY2(seconds < 5, qPrintable(QString::number(seconds)));
}

QTEST_GUILESS_MAIN(TestIniFile)
#include "tst_ini_file.moc"

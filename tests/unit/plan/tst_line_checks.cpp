#include "plan/line_checks.h"
#include "support/literals.h"

#include <QtTest>

class TestLineChecks : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void findsWhatSystemdRejectsAsText_data();
    void findsWhatSystemdRejectsAsText();
    void givesTheFaultOfALine_data();
    void givesTheFaultOfALine();
    void findsLoneSemicolons_data();
    void findsLoneSemicolons();
    void knowsPlainUsers_data();
    void knowsPlainUsers();
};

void TestLineChecks::findsWhatSystemdRejectsAsText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("found");
    const auto row = [](const char *what, char32_t codePoint, bool found) {
        QTest::newRow(what) << QLatin1Char('a') + QString::fromUcs4(&codePoint, 1)
                + QLatin1Char('b')
                            << found;
    };
    row("an ordinary letter", 'x', false);
    row("before the first of a row", 0xfdcf, false);
    row("first of a row", 0xfdd0, true);
    row("last of a row", 0xfdef, true);
    row("after the last of a row", 0xfdf0, false);
    row("replacement character", 0xfffd, false);
    row("last but one of the first plane", 0xfffe, true);
    row("last of the first plane", 0xffff, true);
    row("first of the second plane", 0x10000, false);
    row("last but one of the second plane", 0x1fffe, true);
    row("last of the second plane", 0x1ffff, true);
    row("a smiling face", 0x1f600, false);
    row("last but one of the last plane", 0x10fffe, true);
    row("last of all", 0x10ffff, true);
    QTest::newRow("first half of a pair") << QString(QChar(0xd83d)) + QLatin1Char('b') << true;
    QTest::newRow("second half of a pair") << QString(QChar(0xde00)) << true;
    QTest::newRow("halves in the wrong order") << QString(QChar(0xde00)) + QChar(0xd83d) << true;
    QTest::newRow("nothing") << QString() << false;
}

void TestLineChecks::findsWhatSystemdRejectsAsText()
{
    QFETCH(QString, text);
    QFETCH(bool, found);
    QCOMPARE(Core::holdsNoncharacter(text), found);
}

void TestLineChecks::givesTheFaultOfALine_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("message");
    QTest::newRow("nothing") << u"a 'b' \"c %d $e \\f ; ü"_s << QString();
    QTest::newRow("a line break") << u"a\nb"_s << u"This must not hold control characters"_s;
    QTest::newRow("a high control character")
        << QString(QChar(0x80)) << u"This must not hold control characters"_s;
    QTest::newRow("a noncharacter")
        << QString(QChar(0xfffe)) << u"This must not hold noncharacters"_s;
    QTest::newRow("a backslash last") << u"a\\"_s << u"This must not end with a backslash"_s;
    QTest::newRow("a backslash before blanks")
        << u"a\\  "_s << u"This must not end with a backslash"_s;
    QTest::newRow("a backslash alone") << u"\\"_s << u"This must not end with a backslash"_s;
    QTest::newRow("empty") << QString() << QString();
}

void TestLineChecks::givesTheFaultOfALine()
{
    QFETCH(QString, text);
    QFETCH(QString, message);
    const Core::Error error = Core::checkLine(u"This"_s, text);
    QCOMPARE(error.message(), message);
    QCOMPARE(error.code(),
             qint32(message.isEmpty() ? Core::Error::NoError : Core::Error::InvalidArgs));
}

void TestLineChecks::findsLoneSemicolons_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("found");
    QTest::newRow("alone") << u";"_s << true;
    QTest::newRow("between words") << u"a ; b"_s << true;
    QTest::newRow("last") << u"a  ;"_s << true;
    QTest::newRow("at a word") << u"a; ;b a;b ;; \\;"_s << false;
    QTest::newRow("none") << QString() << false;
}

void TestLineChecks::findsLoneSemicolons()
{
    QFETCH(QString, text);
    QFETCH(bool, found);
    QCOMPARE(Core::holdsLoneSemicolon(text), found);
}

void TestLineChecks::knowsPlainUsers_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<bool>("plain");
    const auto row = [](const char *user, bool plain) {
        QTest::addRow("\"%s\"", user) << QString::fromUtf8(user) << plain;
    };
    for (const char *user : {"nobody", "defaultuser", "Root", "_apt", "systemd-network",
                             "first.last", "jane@example", "example+jane", "a", ".hidden", "jürgen",
                             "mail2", "4ever", "1", "100000", "65534", "65536", "4294967294"})
        row(user, true);
    for (const char *user : {"",
                             ".",
                             "..",
                             "root ",
                             " root",
                             "a b",
                             "root\n",
                             "a\tb",
                             "%u",
                             "$USER",
                             "${USER}",
                             "pc$",
                             "\"root\"",
                             "'root'",
                             "a\\",
                             "EXAMPLE\\jane",
                             "a:b",
                             "a/b",
                             "-a",
                             "-1",
                             "+0",
                             "+1",
                             "0",
                             "00",
                             "01",
                             "0x0",
                             "0X3e8",
                             "65535",
                             "4294967295",
                             "4294967296",
                             "99999999999999999999",
                             "*",
                             "a,b",
                             "a;b",
                             "#",
                             "a=b",
                             "~",
                             "a\u200b",
                             "a\u00a0b",
                             "a\u2028",
                             "\u20ac"})
        row(user, false);
    QTest::newRow("255 bytes") << QString(255, QLatin1Char('u')) << true;
    QTest::newRow("256 bytes") << QString(256, QLatin1Char('u')) << false;
    QTest::newRow("256 bytes of letters of two") << QString(128, QChar(0xfc)) << false;
    QTest::newRow("half a pair") << QLatin1Char('a') + QString(QChar(0xd83d)) << false;
}

void TestLineChecks::knowsPlainUsers()
{
    QFETCH(QString, user);
    QFETCH(bool, plain);
    QCOMPARE(Core::isPlainUser(user), plain);
}

QTEST_GUILESS_MAIN(TestLineChecks)
#include "tst_line_checks.moc"

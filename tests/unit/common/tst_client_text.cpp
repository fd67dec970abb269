#include "common/client_text.h"
#include "support/literals.h"

#include <QTest>

class TestClientText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writesAShortTextAsTheFrameworkDoes_data();
    void writesAShortTextAsTheFrameworkDoes();
    void cutsALongText_data();
    void cutsALongText();
    void leavesTheStreamAsItWas();
};

namespace {

template <typename Value>
QString written(const Value &value)
{
    QString text;
    QDebug(&text) << "before" << value << "after";
    return text;
}

} // namespace

void TestClientText::writesAShortTextAsTheFrameworkDoes_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QString();
    QTest::newRow("plain") << u"Sync"_s;
    QTest::newRow("quotes, a backslash and a line break") << u"a\"b\\c\nd"_s;
    QTest::newRow("letters of other scripts") << QString::fromUtf8("größe \xf0\x9f\x93\xb7");
    QTest::newRow("200 characters") << QString(200, QLatin1Char('x'));
}

void TestClientText::writesAShortTextAsTheFrameworkDoes()
{
    QFETCH(QString, text);
    QCOMPARE(written(ClientText(text)), written(text));
}

void TestClientText::cutsALongText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");
    QTest::newRow("201 characters")
        << QString(201, QLatin1Char('x')) << QString(200, QLatin1Char('x'));
    QTest::newRow("line breaks, which take two characters each")
        << QString(150, QLatin1Char('\n')) << u"\\n"_s.repeated(100);
    QTest::newRow("30 million") << QString(30000000, QLatin1Char('x'))
                                << QString(200, QLatin1Char('x'));
}

void TestClientText::cutsALongText()
{
    QFETCH(QString, text);
    QFETCH(QString, expected);
    QCOMPARE(written(ClientText(text)), u"before \"%1\"... after "_s.arg(expected));
}

void TestClientText::leavesTheStreamAsItWas()
{
    QString text;
    QDebug(&text).nospace() << "a" << ClientText(u"b"_s) << u"c"_s;
    QCOMPARE(text, u"a\"b\"\"c\""_s);
}

QTEST_APPLESS_MAIN(TestClientText)
#include "tst_client_text.moc"

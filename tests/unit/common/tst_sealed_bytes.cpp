#include "common/sealed_bytes.h"
#include "support/literals.h"

#include <QRandomGenerator>
#include <QTest>

class TestSealedBytes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void givesBackWhatItWasGiven();
    void noticesEachBitThatHasChanged();
    void noticesWhatIsMissing();
    void readsNothingBeyondTheEnd();
    void takesNoMemoryForWhatIsNotThere();

private:
    static QByteArray sample()
    {
        ByteWriter writer;
        writer.number(-5);
        writer.text(u"a text"_s);
        writer.text(QString());
        writer.list({u"one"_s, QString(), u"\u00fc"_s});
        return writer.bytes();
    }
};

void TestSealedBytes::givesBackWhatItWasGiven()
{
    const QByteArray bytes = unsealed(sealed(sample())).value();
    ByteReader reader(bytes);
    QCOMPARE(reader.number(), -5);
    QCOMPARE(reader.text(), u"a text"_s);
    QCOMPARE(reader.text(), QString());
    QVERIFY(!reader.isAtEnd());
    QCOMPARE(reader.list(), QStringList({u"one"_s, QString(), u"\u00fc"_s}));
    QVERIFY(reader.isOk());
    QVERIFY(reader.isAtEnd());
    QCOMPARE(unsealed(sealed(QByteArray())).value(), QByteArray());
}

void TestSealedBytes::noticesEachBitThatHasChanged()
{
    const QByteArray whole = sealed(sample());
    for (int bit = 0; bit < whole.size() * 8; ++bit) {
        QByteArray changed = whole;
        changed[bit / 8] = static_cast<char>(changed.at(bit / 8) ^ (1 << (bit % 8)));
        QVERIFY2(!unsealed(changed), qPrintable(QString::number(bit)));
    }
}

void TestSealedBytes::noticesWhatIsMissing()
{
    const QByteArray whole = sealed(sample());
    for (int size = 0; size < whole.size(); ++size)
        QVERIFY2(!unsealed(whole.left(size)), qPrintable(QString::number(size)));
    QVERIFY(!unsealed(whole + '\0'));
}

void TestSealedBytes::readsNothingBeyondTheEnd()
{
    const QByteArray whole = sample();
    for (int size = 0; size < whole.size(); ++size) {
        const QByteArray part = whole.left(size);
        ByteReader reader(part);
        (void)reader.number();
        (void)reader.text();
        (void)reader.text();
        (void)reader.list();
        QVERIFY2(!reader.isOk(), qPrintable(QString::number(size)));
        QCOMPARE(reader.number(), 0);
        QCOMPARE(reader.text(), QString());
        QCOMPARE(reader.list(), QStringList());
    }
}

void TestSealedBytes::takesNoMemoryForWhatIsNotThere()
{
    for (const qint64 size : {qint64(-1), qint64(1), qint64(1) << 31, qint64(1) << 62}) {
        ByteWriter writer;
        writer.number(size);
        ByteReader text(writer.bytes());
        QCOMPARE(text.text(), QString());
        QVERIFY(!text.isOk());
        ByteReader list(writer.bytes());
        QCOMPARE(list.list(), QStringList());
        QVERIFY(!list.isOk());
    }
}

QTEST_GUILESS_MAIN(TestSealedBytes)
#include "tst_sealed_bytes.moc"

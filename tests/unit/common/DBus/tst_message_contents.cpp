#include "common/DBus/message_contents.h"
#include "support/literals.h"
#include "support/private_bus.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingCall>
#include <QDBusSignature>
#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QTest>

struct Pair
{
    uchar small = 0;
    qlonglong large = 0;
};
Q_DECLARE_METATYPE(Pair)

QDBusArgument &operator<<(QDBusArgument &argument, const Pair &pair)
{
    argument.beginStructure();
    argument << pair.small << pair.large;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, Pair &pair)
{
    argument.beginStructure();
    argument >> pair.small >> pair.large;
    argument.endStructure();
    return argument;
}

namespace {

/// Stores the call that it receives from the bus.
class Receiver : public QDBusVirtualObject
{
public:
    QDBusMessage received;

    [[nodiscard]] QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        received = message;
        return connection.send(message.createReply());
    }
};

} // namespace

class TestMessageContents : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void isNeverLessAndNotMuchMore_data();
    void isNeverLessAndNotMuchMore();
    void leavesTheArgumentsReadable();
    void countsTheHeader();
    void endsEarlyWithManyValues_data();
    void endsEarlyWithManyValues();
    void countsDescriptors();
    void findsDescriptorsInsideOtherValues_data();
    void findsDescriptorsInsideOtherValues();
    void findsSignaturesWithoutTypes_data();
    void findsSignaturesWithoutTypes();

private:
    QDBusMessage received(const QVariantList &arguments);

    PrivateBus bus;
    QDBusConnection from{QString()};
    QDBusConnection to{QString()};
    Receiver receiver;
};

void TestMessageContents::initTestCase()
{
    qDBusRegisterMetaType<Pair>();
    qDBusRegisterMetaType<QList<Pair>>();
    qDBusRegisterMetaType<QList<QDBusUnixFileDescriptor>>();
    QVERIFY(bus.start());
    from = bus.connect(u"from"_s);
    to = bus.connect(u"to"_s);
    QVERIFY(to.registerVirtualObject(u"/o"_s, &receiver));
}

QDBusMessage TestMessageContents::received(const QVariantList &arguments)
{
    QDBusMessage call = QDBusMessage::createMethodCall(to.baseService(), u"/o"_s, u"a.b"_s, u"C"_s);
    call.setArguments(arguments);
    const QDBusPendingCall answered = from.asyncCall(call);
    (void)QTest::qWaitFor([&] { return answered.isFinished(); }, 30000);
    return receiver.received;
}

void TestMessageContents::isNeverLessAndNotMuchMore_data()
{
    // Size of the marshalled body, calculated by hand.
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<int>("body");
    constexpr int many = 10000;
    QTest::newRow("a text") << QVariant(QString(many, QLatin1Char('x'))) << 4 + many + 1;
    QTest::newRow("a text of two bytes each")
        << QVariant(QString(many, QChar(0xe4))) << 4 + 2 * many + 1;
    QTest::newRow("bytes") << QVariant(QByteArray(many, '\0')) << 4 + many;
    QTest::newRow("numbers") << QVariant::fromValue(QList<int>(QVector<int>(many).toList()))
                             << 4 + 4 * many;
    QTest::newRow("texts") << QVariant(QStringList(QVector<QString>(many, u"abc"_s).toList()))
                           << 4 + 8 * many;
    QList<Pair> pairs;
    QVariantMap map;
    QVariantList list;
    for (int number = 0; number < many; ++number) {
        pairs.append(Pair());
        map.insert(u"%1"_s.arg(number, 7, 10, QLatin1Char('0')), number);
        list.append(QString());
    }
    QTest::newRow("records of unequal members") << QVariant::fromValue(pairs) << 8 + 16 * many;
    // Key: length, seven letters, zero. Variant: signature, value.
    QTest::newRow("a map") << QVariant(map) << 8 + (4 + 8 + 4 + 4 + 4) * many - 4;
    QTest::newRow("variants of empty texts") << QVariant(list) << 4 + 12 * many - 4;
    QTest::newRow("a map in a variant")
        << QVariant::fromValue(QDBusVariant(map)) << 8 + (4 + 8 + 4 + 4 + 4) * many - 4;
}

void TestMessageContents::isNeverLessAndNotMuchMore()
{
    QFETCH(QVariant, value);
    QFETCH(int, body);
    const qint64 estimate = DBus::contentsOf(received({value})).size;
    QVERIFY2(estimate >= body, qPrintable(QString::number(estimate)));
    QVERIFY2(estimate <= 4 * qint64(body), qPrintable(QString::number(estimate)));
}

void TestMessageContents::leavesTheArgumentsReadable()
{
    const QVariantMap map{{u"k"_s, u"v"_s}};
    const QDBusMessage message = received({map, map});
    (void)DBus::contentsOf(message);
    QCOMPARE(qdbus_cast<QVariantMap>(message.arguments().at(0)), map);
    QCOMPARE(qdbus_cast<QVariantMap>(message.arguments().at(1)), map);
}

void TestMessageContents::countsTheHeader()
{
    const QString path = QLatin1Char('/') + QString(100000, QLatin1Char('p'));
    const QDBusMessage call = QDBusMessage::createMethodCall(u"a.b"_s, path, u"a.b"_s, u"C"_s);
    QVERIFY(DBus::contentsOf(call).size > 100000);
    QVERIFY(DBus::contentsOf(call.createErrorReply(u"a.E"_s, path)).size > 100000);
}

void TestMessageContents::endsEarlyWithManyValues_data()
{
    QTest::addColumn<QVariant>("value");
    constexpr int many = 1000000;
    QVariantList variants;
    QStringList texts;
    QList<Pair> records;
    for (int number = 0; number < many; ++number) {
        variants.append(QVariant::fromValue(uchar(5)));
        texts.append(QString());
        records.append(Pair());
    }
    QTest::newRow("variants") << QVariant(variants);
    QTest::newRow("texts") << QVariant(texts);
    QTest::newRow("records") << QVariant::fromValue(records);
    QTest::newRow("lists in a list") << QVariant(QVariantList{variants, variants});
}

void TestMessageContents::endsEarlyWithManyValues()
{
    QFETCH(QVariant, value);
    const DBus::MessageContents contents = DBus::contentsOf(received({value, value}));
    QVERIFY(contents.isTooLarge());
    QVERIFY(contents.values <= DBus::mostValues + 10);
}

void TestMessageContents::countsDescriptors()
{
    const QVariant descriptor = QVariant::fromValue(QDBusUnixFileDescriptor(2));
    const DBus::MessageContents contents = DBus::contentsOf(received({descriptor, 5, descriptor}));
    QCOMPARE(contents.descriptors, 2);
    QVERIFY(contents.canBeSentOn());
}

void TestMessageContents::findsDescriptorsInsideOtherValues_data()
{
    QTest::addColumn<QVariant>("value");
    const QDBusUnixFileDescriptor descriptor(2);
    const QVariant variant = QVariant::fromValue(descriptor);
    QTest::newRow("an array") << QVariant::fromValue(QList<QDBusUnixFileDescriptor>{descriptor});
    QTest::newRow("a variant") << QVariant::fromValue(QDBusVariant(variant));
    QTest::newRow("a map") << QVariant(QVariantMap{{u"k"_s, variant}});
    QTest::newRow("a map in a map")
        << QVariant(QVariantMap{{u"k"_s, QVariantMap{{u"k"_s, variant}}}});
}

void TestMessageContents::findsDescriptorsInsideOtherValues()
{
    QFETCH(QVariant, value);
    const DBus::MessageContents contents = DBus::contentsOf(received({value}));
    QVERIFY(contents.hasNestedDescriptors);
    QVERIFY(!contents.canBeSentOn());
}

void TestMessageContents::findsSignaturesWithoutTypes_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("isEmpty");
    const QVariant empty = QVariant::fromValue(QDBusSignature());
    const QVariant full = QVariant::fromValue(QDBusSignature(u"s"_s));
    QTest::newRow("an argument") << empty << true;
    QTest::newRow("inside a list") << QVariant(QVariantList{full, empty}) << true;
    QTest::newRow("inside a map") << QVariant(QVariantMap{{u"k"_s, empty}}) << true;
    QTest::newRow("none that is empty") << QVariant(QVariantList{full, full}) << false;
}

// The framework cannot send an empty signature, so the message is not sent over the bus.
void TestMessageContents::findsSignaturesWithoutTypes()
{
    QFETCH(QVariant, value);
    QFETCH(bool, isEmpty);
    QDBusMessage message = QDBusMessage::createSignal(u"/o"_s, u"a.b"_s, u"S"_s);
    message << value;
    const DBus::MessageContents contents = DBus::contentsOf(message);
    QCOMPARE(contents.hasEmptySignature, isEmpty);
    QCOMPARE(contents.canBeSentOn(), !isEmpty);
}

QTEST_GUILESS_MAIN(TestMessageContents)
#include "tst_message_contents.moc"

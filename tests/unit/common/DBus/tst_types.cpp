#include "common/DBus/types.h"
#include "common/qt_version.h"
#include "support/function_names.h"
#include "support/literals.h"
#include "support/private_bus.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCall>
#include <QDBusVariant>
#include <QJsonDocument>
#include <QTest>

#include <limits>

/// Receives calls and stores the arguments of the last one.
class Receiver : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.example.Receiver")

public:
    QDBusMessage last;

public Q_SLOTS:
    void Take(const QDBusMessage &message) { last = message; }
};

/// A type that JSON does not have. On the bus: (ii)
struct Pair
{
    int left;
    int right;
};
Q_DECLARE_METATYPE(Pair)
using PairsByNumber = QMap<int, Pair>;
Q_DECLARE_METATYPE(PairsByNumber)

static QDBusArgument &operator<<(QDBusArgument &argument, const Pair &pair)
{
    argument.beginStructure();
    argument << pair.left << pair.right;
    argument.endStructure();
    return argument;
}

static const QDBusArgument &operator>>(const QDBusArgument &argument, Pair &pair)
{
    argument.beginStructure();
    argument >> pair.left >> pair.right;
    argument.endStructure();
    return argument;
}

class TestTypes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void registersEveryRecord_data();
    void registersEveryRecord();
    void sendsRecords();
    void writesJson_data();
    void writesJson();
    void writesNothingForArraysOfArrays();
    void writesNothingForUnknownTypes();
    void leavesOutWhatCannotBeWritten();
    void leavesOutWhatIsTooDeepForTheBus_data();
    void leavesOutWhatIsTooDeepForTheBus();
    void writesNothingForAnArrayThatIsTooDeep();
    void writesWhatIsAsDeepAsTheBusAllows_data();
    void writesWhatIsAsDeepAsTheBusAllows();
    void keepsMessagesWithNullsWhole_data();
    void keepsMessagesWithNullsWhole();
    void readsJson_data();
    void readsJson();
    void givesValuesOfTheBusThisTextAsJson_data();
    void givesValuesOfTheBusThisTextAsJson();
    void writesEveryNumberAsADouble_data();
    void writesEveryNumberAsADouble();
    void keepsTheTextOfKeys_data();
    void keepsTheTextOfKeys();
    void replacesWhatIsReadInto();
    void skipsStructures_data();
    void skipsStructures();
    void leavesTheValueWhenItIsAStructure();
    void readsDeepNesting();
    void warnsInTheNameOfTheOperator_data();
    void warnsInTheNameOfTheOperator();
    void readsMapsOfVariants();

private:
    /// Sends one argument over the bus and returns the received one.
    QVariant roundTrip(const QVariant &value);
    QJsonValue readBack(const QVariant &value);
    static QVariant json(const QJsonValue &value);
    static QJsonValue parsed(const QByteArray &text)
    {
        return QJsonDocument::fromJson("[" + text + "]").array().at(0);
    }

    PrivateBus bus;
    QDBusConnection sender{QString()};
    QDBusConnection target{QString()};
    Receiver receiver;
};

void TestTypes::initTestCase()
{
    DBus::registerTypes();
    DBus::registerTypes();
    qDBusRegisterMetaType<Pair>();
    qDBusRegisterMetaType<QVector<Pair>>();
    qDBusRegisterMetaType<PairsByNumber>();
    QVERIFY(bus.start());
    sender = bus.connect(u"sender"_s);
    target = bus.connect(u"target"_s);
    QVERIFY(target.registerObject(u"/"_s, &receiver, QDBusConnection::ExportAllSlots));
}

QVariant TestTypes::roundTrip(const QVariant &value)
{
    QDBusMessage call = QDBusMessage::createMethodCall(target.baseService(), u"/"_s,
                                                       u"org.example.Receiver"_s, u"Take"_s);
    call << value;
    receiver.last = QDBusMessage();
    const QDBusPendingCall pending = sender.asyncCall(call);
    [&] { QTRY_VERIFY_WITH_TIMEOUT(pending.isFinished(), 30000); }();
    return receiver.last.arguments().value(0);
}

QVariant TestTypes::json(const QJsonValue &value)
{
    QDBusArgument argument;
    argument << value;
    return QVariant::fromValue(argument);
}

void TestTypes::registersEveryRecord_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("signature");
    QTest::newRow("available task") << QByteArray("AvailableTask") << QByteArray("(sa{sv})");
    QTest::newRow("active task") << QByteArray("ActiveTask") << QByteArray("(sia{sv})");
    QTest::newRow("task state") << QByteArray("TaskState") << QByteArray("(sua{sv})");
    QTest::newRow("running application")
        << QByteArray("RunningApplication") << QByteArray("(siuua{sv})");
    QTest::newRow("running service") << QByteArray("RunningService") << QByteArray("(ssiua{sv})");
}

void TestTypes::registersEveryRecord()
{
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, signature);
    QCOMPARE(signatureOf(typeNamed("Orvane::" + name)), signature);
    QCOMPARE(signatureOf(typeNamed("QVector<" + name + ">")), "a" + signature);
    QCOMPARE(typeNamed("QVector<Orvane::" + name + ">"), typeNamed("QVector<" + name + ">"));
    QVERIFY(typeNamed("Orvane::ApplicationState") != QMetaType::UnknownType);
}

void TestTypes::sendsRecords()
{
    const QVariantMap map{{u"k"_s, 5}};
    const auto active = qdbus_cast<QVector<Orvane::ActiveTask>>(
        roundTrip(QVariant::fromValue(QVector<Orvane::ActiveTask>{{u"id"_s, 42, map}})));
    QCOMPARE(active.size(), 1);
    QCOMPARE(active.at(0).id, u"id"_s);
    QCOMPARE(active.at(0).pid, 42);
    QCOMPARE(active.at(0).properties, map);
    const auto available = qdbus_cast<Orvane::AvailableTask>(
        roundTrip(QVariant::fromValue(Orvane::AvailableTask{u"a"_s, map})));
    QCOMPARE(available.id, u"a"_s);
    QCOMPARE(available.properties, map);
    const auto state = qdbus_cast<Orvane::TaskState>(
        roundTrip(QVariant::fromValue(Orvane::TaskState{u"s"_s, 7, map})));
    QCOMPARE(state.state, 7u);
    const auto application = qdbus_cast<Orvane::RunningApplication>(
        roundTrip(QVariant::fromValue(Orvane::RunningApplication{u"r"_s, -1, 2, 3, map})));
    QCOMPARE(application.flags, 3u);
    const auto service = qdbus_cast<Orvane::RunningService>(
        roundTrip(QVariant::fromValue(Orvane::RunningService{u"x"_s, u"y"_s, 4, 5, map})));
    QCOMPARE(service.name, u"y"_s);
    QCOMPARE(service.properties, map);
}

void TestTypes::writesJson_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("signature");
    const auto row = [](const char *text, const char *signature) {
        QTest::newRow(text) << QByteArray(text) << QString::fromLatin1(signature);
    };
    row("true", "b");
    row("1", "d");
    row("\"a\"", "s");
    row("null", "v");
    row("[]", "av");
    row("[true, false]", "ab");
    row("[1, 2.5]", "ad");
    row("[\"a\"]", "as");
    row("[{}, {\"k\": 1}]", "aa{sv}");
    row("[1, \"a\"]", "av");
    row("[[1], \"x\"]", "av");
    row("[null, 1]", "av");
    row("{}", "a{sv}");
    row("{\"a\": [1], \"b\": {\"c\": null}}", "a{sv}");
}

void TestTypes::writesJson()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, signature);
    const QVariant arrived = roundTrip(json(parsed(text)));
    QCOMPARE(receiver.last.signature(), signature);
    if (text == "[1, \"a\"]") {
        const auto list = qdbus_cast<QVariantList>(arrived);
        QCOMPARE(list, QVariantList({1.0, u"a"_s}));
        QCOMPARE(list.at(0).userType(), int(QMetaType::Double));
    }
    if (text == "[[1], \"x\"]") {
        const auto list = qdbus_cast<QVariantList>(arrived);
        QCOMPARE(list.size(), 2);
        QCOMPARE(qdbus_cast<QVariantList>(list.at(0)), QVariantList{1.0});
        QCOMPARE(list.at(1), QVariant(u"x"_s));
    }
}

void TestTypes::writesNothingForArraysOfArrays()
{
    for (const char *text : {"[[1], [2]]", "[[]]"}) {
        QTest::ignoreMessage(QtWarningMsg, "JSON array of arrays are not supported");
        QCOMPARE(json(parsed(text)).value<QDBusArgument>().currentSignature(), QString());
    }
}

void TestTypes::writesNothingForUnknownTypes()
{
    QTest::ignoreMessage(QtWarningMsg, "Unknown JSON value type");
    QCOMPARE(json(QJsonValue(QJsonValue::Undefined)).value<QDBusArgument>().currentSignature(),
             QString());
    QTest::ignoreMessage(QtWarningMsg, "Unknown JSON value type");
    QCOMPARE(json(parsed("[null, null]")).value<QDBusArgument>().currentSignature(), QString());
}

void TestTypes::leavesOutWhatCannotBeWritten()
{
    QTest::ignoreMessage(QtWarningMsg, "JSON array of arrays are not supported");
    const auto map =
        qdbus_cast<QVariantMap>(roundTrip(json(parsed(R"({"a": [[1]], "b": "kept"})"))));
    QCOMPARE(map, QVariantMap({{u"b"_s, u"kept"_s}}));
}

// "{"a":{"a":1}}" and the like.
static QByteArray nested(int levels, const QByteArray &before, const QByteArray &after)
{
    return before.repeated(levels) + '1' + after.repeated(levels);
}

void TestTypes::leavesOutWhatIsTooDeepForTheBus_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("objects") << nested(20, "{\"a\":", "}");
    QTest::newRow("many objects") << nested(1000, "{\"a\":", "}");
    QTest::newRow("mixed arrays") << nested(30, "[\"x\",", "]");
    QTest::newRow("arrays of objects") << nested(15, "[{\"a\":", "}]");
    QTest::newRow("objects in a mixed array") << "[1," + nested(19, "{\"a\":", "}") + "]";
}

void TestTypes::leavesOutWhatIsTooDeepForTheBus()
{
    QFETCH(QByteArray, text);
    const QJsonValue value = parsed("{\"deep\": " + text + ", \"flat\": \"kept\"}");
    QVERIFY(value.isObject());
    QTest::ignoreMessage(QtWarningMsg, "JSON value is nested too deep for the bus");
    // As a value in a map, which is the deepest position that room is reserved for.
    const auto map = qdbus_cast<QVariantMap>(roundTrip(QVariantMap{{u"json"_s, json(value)}}));
    QVERIFY(sender.isConnected());
    QCOMPARE(qdbus_cast<QVariantMap>(map.value(u"json"_s)), QVariantMap({{u"flat"_s, u"kept"_s}}));
}

void TestTypes::writesNothingForAnArrayThatIsTooDeep()
{
    QTest::ignoreMessage(QtWarningMsg, "JSON value is nested too deep for the bus");
    const QVariant deep = json(parsed(nested(31, "[\"x\",", "]")));
    QCOMPARE(deep.value<QDBusArgument>().currentSignature(), QString());
}

void TestTypes::writesWhatIsAsDeepAsTheBusAllows_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("objects") << nested(20, "{\"a\":", "}");
    QTest::newRow("mixed arrays") << nested(30, "[\"x\",", "]");
    QTest::newRow("arrays of objects") << nested(12, "[{\"a\":", "}]");
}

void TestTypes::writesWhatIsAsDeepAsTheBusAllows()
{
    QFETCH(QByteArray, text);
    const QVariant arrived = roundTrip(QVariantMap{{u"json"_s, json(parsed(text))}});
    QVERIFY(sender.isConnected());
    QJsonObject map;
    arrived.value<QDBusArgument>() >> map;
    QCOMPARE(map.value(u"json"_s), parsed(text));
}

void TestTypes::keepsMessagesWithNullsWhole_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("in an object") << QByteArray(R"({"a": null, "b": 1})");
    QTest::newRow("in a mixed array") << QByteArray(R"([{"a": null, "b": 1}, 2])");
    QTest::newRow("nested in a mixed array") << QByteArray(R"([[null], {"a": [null]}])");
    QTest::newRow("alone") << QByteArray("null");
}

void TestTypes::keepsMessagesWithNullsWhole()
{
    QFETCH(QByteArray, text);
    const QVariant arrived = roundTrip(json(parsed(text)));
    QVERIFY(arrived.isValid());
    if (!text.startsWith('{'))
        return;
    const auto map = qdbus_cast<QVariantMap>(arrived);
    QCOMPARE(map.value(u"b"_s), QVariant(1.0));
    QVERIFY(map.contains(u"a"_s));
    QVERIFY(qdbus_cast<QVariantList>(map.value(u"a"_s)).isEmpty());
}

QJsonValue TestTypes::readBack(const QVariant &value)
{
    // Inside a variant, so that plain values can be read as arguments, too.
    const QVariant arrived = roundTrip(QVariantList{value});
    QJsonArray array;
    arrived.value<QDBusArgument>() >> array;
    return array.at(0);
}

void TestTypes::readsJson_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("bool") << QVariant(true) << QByteArray("true");
    QTest::newRow("byte") << QVariant::fromValue(uchar(7)) << QByteArray("7");
    QTest::newRow("int16") << QVariant::fromValue(short(-7)) << QByteArray("-7");
    QTest::newRow("uint16") << QVariant::fromValue(ushort(7)) << QByteArray("7");
    QTest::newRow("int32") << QVariant(-7) << QByteArray("-7");
    QTest::newRow("uint32") << QVariant(7u) << QByteArray("7");
    QTest::newRow("int64") << QVariant::fromValue(qint64(-7)) << QByteArray("-7");
    QTest::newRow("uint64") << QVariant::fromValue(quint64(7)) << QByteArray("7");
    QTest::newRow("double") << QVariant(2.5) << QByteArray("2.5");
    QTest::newRow("string") << QVariant(u"a"_s) << QByteArray("\"a\"");
    QTest::newRow("object path") << QVariant::fromValue(QDBusObjectPath("/a"))
                                 << QByteArray("\"/a\"");
    QTest::newRow("strings") << QVariant(QStringList{u"a"_s}) << QByteArray("[\"a\"]");
    QTest::newRow("bytes") << QVariant(QByteArray("\x01\xff")) << QByteArray("[1, 255]");
    QTest::newRow("variants") << QVariant(QVariantList{1, u"a"_s, QVariantMap()})
                              << QByteArray("[1, \"a\", {}]");
    QTest::newRow("map") << QVariant(
        QVariantMap{{u"a"_s, 1}, {u"b"_s, QVariantMap{{u"c"_s, true}}}})
                         << QByteArray(R"({"a": 1, "b": {"c": true}})");
    QTest::newRow("variant in a variant")
        << QVariant::fromValue(QDBusVariant(QVariant::fromValue(QDBusVariant(5))))
        << QByteArray("5");
}

void TestTypes::readsJson()
{
    QFETCH(QVariant, value);
    QFETCH(QByteArray, text);
    QCOMPARE(readBack(value), parsed(text));
}

void TestTypes::givesValuesOfTheBusThisTextAsJson_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QByteArray>("text");
    const auto row = [](const char *name, const QVariant &value, const char *text) {
        QTest::newRow(name) << value << QByteArray(text);
    };
    row("largest byte", QVariant::fromValue(uchar(255)), "255");
    row("smallest int16", QVariant::fromValue(short(-32768)), "-32768");
    row("largest uint32", 4294967295U, "4294967295");
    row("largest number that a double keeps", qint64(9007199254740992), "9007199254740992");
    row("one that it does not", qint64(9007199254740993), "9007199254740992");
    row("smallest int64", std::numeric_limits<qint64>::min(), "-9223372036854776000");
    row("largest uint64", std::numeric_limits<quint64>::max(), "18446744073709552000");
    row("fraction", 0.1, "0.1");
    row("whole double", 3.0, "3");
    row("large double", 1e300, "1e+300");
    row("small double", -2.5e-7, "-2.5e-07");
    row("text", QString::fromUtf8("\u00e4 \"\\\n\u20ac\U0001F600"),
        "\"\u00e4 \\\"\\\\\\n\u20ac\U0001F600\"");
    row("bytes", QByteArray("a\0\xff", 3), "[97,0,255]");
    row("no bytes", QByteArray(""), "[]");
    row("list of texts", QStringList{u"1"_s, QString()}, "[\"1\",\"\"]");
    row("list of variants", QVariantList{1, 2.5, u"3"_s, true, QByteArray("4")},
        "[1,2.5,\"3\",true,[52]]");
    row("map", QVariantMap{{u"b"_s, QVariantMap()}, {u"a"_s, QVariantList()}},
        "{\"a\":[],\"b\":{}}");
}

void TestTypes::givesValuesOfTheBusThisTextAsJson()
{
    QFETCH(QVariant, value);
    QFETCH(QByteArray, text);
    QCOMPARE(QJsonDocument(QJsonArray{readBack(value)}).toJson(QJsonDocument::Compact),
             '[' + text + ']');
}

void TestTypes::writesEveryNumberAsADouble_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<double>("number");
    const auto row = [](const char *text, double number) {
        QTest::newRow(text) << QByteArray(text) << number;
    };
    row("0", 0);
    row("-7", -7);
    row("0.1", 0.1);
    row("4294967296", 4294967296.0);
    row("9007199254740993", 9007199254740992.0);
    row("-9223372036854775808", -9223372036854775808.0);
    row("18446744073709551615", 18446744073709551616.0);
    row("1e300", 1e300);
}

void TestTypes::writesEveryNumberAsADouble()
{
    QFETCH(QByteArray, text);
    QFETCH(double, number);
    // To the bit, where QCOMPARE() would allow for rounding.
    const auto isNumber = [number](const QVariant &arrived) {
        return arrived.userType() == QMetaType::Double && !(arrived.toDouble() < number)
            && !(arrived.toDouble() > number);
    };
    QVERIFY(isNumber(roundTrip(json(parsed(text)))));
    QVERIFY(
        isNumber(qdbus_cast<QVariantList>(roundTrip(json(parsed("[" + text + ",\"\"]")))).at(0)));
    QVERIFY(isNumber(
        qdbus_cast<QVariantMap>(roundTrip(json(parsed("{\"k\":" + text + "}")))).value(u"k"_s)));
}

template <typename Key>
static QVariant mapWithKey(const Key &key)
{
    QDBusArgument argument;
    argument.beginMap(qMetaTypeId<Key>(), QMetaType::Int);
    argument.beginMapEntry();
    argument << key << 5;
    argument.endMapEntry();
    argument.endMap();
    return QVariant::fromValue(argument);
}

void TestTypes::keepsTheTextOfKeys_data()
{
    QTest::addColumn<QVariant>("map");
    QTest::addColumn<QString>("key");
    QTest::newRow("string") << mapWithKey(u"a"_s) << u"a"_s;
    QTest::newRow("object path") << mapWithKey(QDBusObjectPath("/a/b")) << u"/a/b"_s;
    QTest::newRow("signature") << mapWithKey(QDBusSignature("a{sv}")) << u"a{sv}"_s;
    QTest::newRow("byte") << mapWithKey(uchar(65)) << u"65"_s;
    QTest::newRow("byte of no ASCII") << mapWithKey(uchar(200)) << u"200"_s;
    QTest::newRow("number") << mapWithKey(-7) << u"-7"_s;
    QTest::newRow("bool") << mapWithKey(true) << u"true"_s;
    QTest::newRow("double") << mapWithKey(2.5) << u"2.5"_s;
    QTest::newRow("round double") << mapWithKey(100000.0) << u"100000"_s;
    QTest::newRow("large double") << mapWithKey(1e21) << u"1e+21"_s;
    QTest::newRow("int16") << mapWithKey(short(-7)) << u"-7"_s;
    QTest::newRow("largest uint64")
        << mapWithKey(std::numeric_limits<quint64>::max()) << u"18446744073709551615"_s;
}

void TestTypes::keepsTheTextOfKeys()
{
    QFETCH(QVariant, map);
    QFETCH(QString, key);
    QCOMPARE(readBack(map), QJsonValue(QJsonObject{{key, 5}}));
}

void TestTypes::replacesWhatIsReadInto()
{
    QJsonArray array{1, 2};
    roundTrip(json(parsed("[3]"))).value<QDBusArgument>() >> array;
    QCOMPARE(array, QJsonArray{3});
    QJsonObject object{{u"old"_s, 1}};
    roundTrip(json(parsed("{\"new\": 2}"))).value<QDBusArgument>() >> object;
    QCOMPARE(object, QJsonObject({{u"new"_s, 2}}));
}

void TestTypes::skipsStructures_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<int>("structures");
    QTest::addColumn<QByteArray>("text");
    const QVariant pair = QVariant::fromValue(Pair{1, 2});
    QTest::newRow("among members") << QVariant(QVariantMap{{u"a"_s, pair}, {u"b"_s, 5}}) << 1
                                   << QByteArray(R"({"a": null, "b": 5})");
    QTest::newRow("among elements")
        << QVariant(QVariantList{pair, 5}) << 1 << QByteArray("[null, 5]");
    QTest::newRow("array of them")
        << QVariant::fromValue(QVector<Pair>{{1, 2}, {3, 4}}) << 2 << QByteArray("[null, null]");
    QTest::newRow("map of them") << QVariant::fromValue(PairsByNumber{{1, {2, 3}}, {4, {5, 6}}})
                                 << 2 << QByteArray(R"({"1": null, "4": null})");
}

void TestTypes::skipsStructures()
{
    QFETCH(QVariant, value);
    QFETCH(int, structures);
    QFETCH(QByteArray, text);
    for (int i = 0; i < structures; ++i)
        QTest::ignoreMessage(QtWarningMsg, "Unsupported type:  \"(ii)\"");
    QCOMPARE(readBack(value), parsed(text));
}

void TestTypes::leavesTheValueWhenItIsAStructure()
{
    const QVariant arrived = roundTrip(QVariant::fromValue(Pair{1, 2}));
    QJsonValue value(u"as it was"_s);
    QTest::ignoreMessage(QtWarningMsg, "Unsupported type:  \"(ii)\"");
    arrived.value<QDBusArgument>() >> value;
    QCOMPARE(value, QJsonValue(u"as it was"_s));
}

void TestTypes::readsDeepNesting()
{
    // The deepest value that the bus accepts: an array and a variant count as one level each.
    QVariant value(5);
    QByteArray text("5");
    for (int depth = 0; depth < 30; ++depth) {
        value = QVariantList{value};
        text = '[' + text + ']';
    }
    QCOMPARE(readBack(value), parsed(text));
}

// The function that the last warning names.
static QByteArray s_warningFunction;

void TestTypes::warnsInTheNameOfTheOperator_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QByteArray>("function");
    QTest::newRow("unknown value")
        << QVariant::fromValue(QJsonValue(QJsonValue::Undefined))
        << QByteArray("QDBusArgument& operator<<(QDBusArgument&, const QJsonValue&)");
    const QByteArray ofArray("QDBusArgument& operator<<(QDBusArgument&, const QJsonArray&)");
    QTest::newRow("array of arrays") << QVariant::fromValue(parsed("[[1], [2]]")) << ofArray;
    QTest::newRow("array of nulls") << QVariant::fromValue(parsed("[null]")) << ofArray;
    QTest::newRow("inside an object") << QVariant::fromValue(parsed(R"({"a": [[1]]})")) << ofArray;
    QTest::newRow("structure") << roundTrip(QVariant::fromValue(Pair{
        1, 2})) << QByteArray("const QDBusArgument& operator>>(const QDBusArgument&, QJsonValue&)");
}

void TestTypes::warnsInTheNameOfTheOperator()
{
    QFETCH(QVariant, value);
    QFETCH(QByteArray, function);
    s_warningFunction.clear();
    const auto previous =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &context, const QString &) {
            s_warningFunction += context.function;
        });
    if (value.userType() == qMetaTypeId<QDBusArgument>()) {
        QJsonValue read;
        value.value<QDBusArgument>() >> read;
    } else {
        json(value.toJsonValue());
    }
    qInstallMessageHandler(previous);
    // And only once.
    QCOMPARE(withFunctionNamesOfGcc(s_warningFunction), function);
}

void TestTypes::readsMapsOfVariants()
{
    const QVariantMap map{{u"MemoryMax"_s, u"5M"_s}};
    bool isMap = false;
    QCOMPARE(DBus::toVariantMap(map, &isMap), map);
    QVERIFY(isMap);
    const QVariant marshalled = roundTrip(map);
    QCOMPARE(marshalled.userType(), qMetaTypeId<QDBusArgument>());
    QCOMPARE(DBus::toVariantMap(marshalled, &isMap), map);
    QVERIFY(isMap);
    for (const QVariant &other : {QVariant(), QVariant(5), roundTrip(QVariantList{1})}) {
        QCOMPARE(DBus::toVariantMap(other, &isMap), QVariantMap());
        QVERIFY(!isMap);
    }
}

QTEST_GUILESS_MAIN(TestTypes)
#include "tst_types.moc"

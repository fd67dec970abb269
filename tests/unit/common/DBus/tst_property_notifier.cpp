#include "common/DBus/property_notifier.h"
#include "common/DBus/property_notifier_p.h"
#include "support/literals.h"
#include "support/private_bus.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QTest>

class Base : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int inherited READ inherited NOTIFY inheritedChanged)

public:
    int inherited() const { return 1; }

Q_SIGNALS:
    void inheritedChanged();
};

/// A type without a comparison, like the records that clients get.
struct Opaque
{
    int value = 0;
};
Q_DECLARE_METATYPE(Opaque)

static QDBusArgument &operator<<(QDBusArgument &argument, const Opaque &opaque)
{
    argument.beginStructure();
    argument << opaque.value;
    argument.endStructure();
    return argument;
}

static const QDBusArgument &operator>>(const QDBusArgument &argument, Opaque &opaque)
{
    argument.beginStructure();
    argument >> opaque.value;
    argument.endStructure();
    return argument;
}

/// A value that has a comparison of its own. On the bus: (i)
struct Comparable
{
    int value = 0;

    friend bool operator==(const Comparable &a, const Comparable &b) { return a.value == b.value; }
};
Q_DECLARE_METATYPE(Comparable)

static QDBusArgument &operator<<(QDBusArgument &argument, const Comparable &comparable)
{
    argument.beginStructure();
    argument << comparable.value;
    argument.endStructure();
    return argument;
}

static const QDBusArgument &operator>>(const QDBusArgument &argument, Comparable &comparable)
{
    argument.beginStructure();
    argument >> comparable.value;
    argument.endStructure();
    return argument;
}

class Watched : public Base
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.example.Watched")
    Q_PROPERTY(int a MEMBER a NOTIFY aChanged)
    Q_PROPERTY(QString b MEMBER b NOTIFY bChanged)
    Q_PROPERTY(int quiet MEMBER quiet)
    Q_PROPERTY(QVector<Opaque> list READ readList NOTIFY listChanged)
    Q_PROPERTY(QVector<Comparable> own READ readOwn NOTIFY ownChanged)
    Q_PROPERTY(bool flag READ readFlag CONSTANT)
    Q_PROPERTY(double number READ readNumber CONSTANT)
    Q_PROPERTY(QStringList texts READ readTexts CONSTANT)
    Q_PROPERTY(QByteArray bytes READ readBytes CONSTANT)
    Q_PROPERTY(QVariantMap map READ readMap CONSTANT)

public:
    int a = 0;
    QString b;
    int quiet = 0;
    QVector<Opaque> list;
    mutable int readings = 0;
    QVector<Opaque> readList() const
    {
        ++readings;
        return list;
    }

    QVector<Comparable> readOwn() const { return {{1}}; }
    bool readFlag() const { return true; }
    double readNumber() const { return 2.5; }
    QStringList readTexts() const { return {u"x"_s}; }
    QByteArray readBytes() const { return "x"; }
    QVariantMap readMap() const { return {{u"x"_s, 1}}; }

Q_SIGNALS:
    void aChanged();
    void bChanged();
    void listChanged();
    void ownChanged();
};

class Unnamed : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int a MEMBER a NOTIFY aChanged)

public:
    int a = 0;

Q_SIGNALS:
    void aChanged();
};

class Recorder : public QObject
{
    Q_OBJECT

public:
    QVector<QVariantList> received;

public Q_SLOTS:
    void onSignal(const QDBusMessage &message) { received.append(message.arguments()); }
};

class TestPropertyNotifier : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void sendsTheChangesOfOnePassTogether();
    void sendsTheLatestValueOnce();
    void sendsTheFirstValueEvenWhenEmpty();
    void sendsNothingForAChangeTakenBack();
    void sendsNothingWithoutAChange();
    void sendsValuesWithoutAComparisonEachTime();
    void sendsValuesOfOtherTypesEachTimeEvenIfTheyHaveAComparison();
    void sendsEqualValuesOfTheFrameworksTypesOnce();
    void readsAValueWithoutAComparisonOnceForASignal();
    void leavesInheritedPropertiesOut();
    void notifiesAtOnceByName();
    void sendsWithoutAnInterfaceButComplains();
    void complainsWhenCalledDirectly();
    void hasTwoSlots();

private:
    /// Waits until everything that was sent has arrived.
    void settle();
    [[nodiscard]] QVariantMap change(int index) const
    {
        return qdbus_cast<QVariantMap>(recorder->received.at(index).at(1));
    }
    /// The names of the properties in a signal, in their order on the bus.
    [[nodiscard]] QStringList order(int index) const;

    PrivateBus bus;
    QDBusConnection sender{QString()};
    QDBusConnection receiver{QString()};
    std::unique_ptr<Recorder> recorder;
    std::unique_ptr<Watched> object;
    DBus::PropertyNotifier *notifier = nullptr;
    int markers = 0;
};

void TestPropertyNotifier::initTestCase()
{
    qRegisterMetaType<QVector<Opaque>>();
    qDBusRegisterMetaType<Opaque>();
    qDBusRegisterMetaType<QVector<Opaque>>();
    qRegisterMetaType<QVector<Comparable>>();
    qDBusRegisterMetaType<Comparable>();
    qDBusRegisterMetaType<QVector<Comparable>>();
    QVERIFY(bus.start());
    sender = bus.connect(u"sender"_s);
    receiver = bus.connect(u"receiver"_s);
}

void TestPropertyNotifier::init()
{
    recorder = std::make_unique<Recorder>();
    object = std::make_unique<Watched>();
    notifier = new DBus::PropertyNotifier(sender, u"/x"_s, object.get());
    QVERIFY(receiver.connect(sender.baseService(), QString(), u"org.freedesktop.DBus.Properties"_s,
                             u"PropertiesChanged"_s, recorder.get(), SLOT(onSignal(QDBusMessage))));
}

void TestPropertyNotifier::cleanup()
{
    object.reset();
    recorder.reset();
}

void TestPropertyNotifier::settle()
{
    // Delivers queued signals, then sends a marker and waits for it.
    QCoreApplication::processEvents();
    QDBusMessage marker = QDBusMessage::createSignal(
        u"/marker"_s, u"org.freedesktop.DBus.Properties"_s, u"PropertiesChanged"_s);
    marker << u"marker"_s << ++markers;
    sender.send(marker);
    const auto arrived = [this] {
        return !recorder->received.isEmpty()
            && recorder->received.constLast() == QVariantList({u"marker"_s, markers});
    };
    QTRY_VERIFY_WITH_TIMEOUT(arrived(), 30000);
    recorder->received.removeLast();
}

QStringList TestPropertyNotifier::order(int index) const
{
    QStringList names;
    const auto changed = recorder->received.at(index).at(1).value<QDBusArgument>();
    changed.beginMap();
    while (!changed.atEnd()) {
        changed.beginMapEntry();
        names.append(changed.asVariant().toString());
        changed.endMapEntry();
    }
    changed.endMap();
    return names;
}

void TestPropertyNotifier::sendsTheChangesOfOnePassTogether()
{
    object->b = u"text"_s;
    Q_EMIT object->bChanged();
    object->a = 5;
    Q_EMIT object->aChanged();
    settle();
    QCOMPARE(recorder->received.size(), 1);
    const QVariantList arguments = recorder->received.constFirst();
    QCOMPARE(arguments.at(0).toString(), u"org.example.Watched"_s);
    QCOMPARE(change(0), QVariantMap({{u"a"_s, 5}, {u"b"_s, u"text"_s}}));
    QCOMPARE(order(0), QStringList({u"b"_s, u"a"_s}));
    QCOMPARE(arguments.at(2).userType(), int(QMetaType::QStringList));
    QCOMPARE(arguments.at(2).toStringList(), QStringList());
}

void TestPropertyNotifier::sendsTheLatestValueOnce()
{
    object->a = 1;
    Q_EMIT object->aChanged();
    object->a = 2;
    Q_EMIT object->aChanged();
    settle();
    QCOMPARE(recorder->received.size(), 1);
    QCOMPARE(change(0), QVariantMap({{u"a"_s, 2}}));
}

void TestPropertyNotifier::sendsTheFirstValueEvenWhenEmpty()
{
    Q_EMIT object->bChanged();
    Q_EMIT object->aChanged();
    settle();
    QCOMPARE(recorder->received.size(), 1);
    QCOMPARE(change(0), QVariantMap({{u"a"_s, 0}, {u"b"_s, QString()}}));
}

void TestPropertyNotifier::sendsNothingForAChangeTakenBack()
{
    object->a = 1;
    Q_EMIT object->aChanged();
    settle();
    object->a = 2;
    Q_EMIT object->aChanged();
    object->a = 1;
    settle();
    QCOMPARE(recorder->received.size(), 1);
}

void TestPropertyNotifier::sendsNothingWithoutAChange()
{
    object->a = 1;
    Q_EMIT object->aChanged();
    settle();
    Q_EMIT object->aChanged();
    settle();
    QCOMPARE(recorder->received.size(), 1);
}

void TestPropertyNotifier::sendsValuesWithoutAComparisonEachTime()
{
    for (int round = 1; round <= 3; ++round) {
        Q_EMIT object->listChanged();
        settle();
        QCOMPARE(recorder->received.size(), round);
    }
}

void TestPropertyNotifier::sendsValuesOfOtherTypesEachTimeEvenIfTheyHaveAComparison()
{
    for (int round = 1; round <= 3; ++round) {
        Q_EMIT object->ownChanged();
        settle();
        QCOMPARE(recorder->received.size(), round);
    }
}

void TestPropertyNotifier::sendsEqualValuesOfTheFrameworksTypesOnce()
{
    for (int round = 1; round <= 3; ++round) {
        for (const char *name : {"flag", "number", "texts", "bytes", "map"})
            notifier->notify({QString::fromLatin1(name)});
        settle();
        QCOMPARE(recorder->received.size(), 5 * round);
    }
    for (int signal = 0; signal < 15; ++signal)
        QCOMPARE(change(signal).size(), signal < 5 ? 1 : 0);
}

void TestPropertyNotifier::readsAValueWithoutAComparisonOnceForASignal()
{
    for (int round = 1; round <= 3; ++round) {
        Q_EMIT object->listChanged();
        Q_EMIT object->listChanged();
        settle();
        QCOMPARE(recorder->received.size(), round);
        QCOMPARE(object->readings, round);
    }
}

void TestPropertyNotifier::leavesInheritedPropertiesOut()
{
    Q_EMIT object->inheritedChanged();
    settle();
    QCOMPARE(recorder->received.size(), 0);
    notifier->notify({u"inherited"_s});
    settle();
    QCOMPARE(change(0), QVariantMap());
}

void TestPropertyNotifier::notifiesAtOnceByName()
{
    object->a = 1;
    object->quiet = 2;
    notifier->notify({u"quiet"_s, u"a"_s, u"B"_s});
    notifier->notify({u"a"_s});
    settle();
    QCOMPARE(recorder->received.size(), 2);
    QCOMPARE(change(0), QVariantMap({{u"a"_s, 1}, {u"quiet"_s, 2}}));
    // notify() sends the signal even if nothing has changed.
    QCOMPARE(change(1), QVariantMap());
}

void TestPropertyNotifier::sendsWithoutAnInterfaceButComplains()
{
    Unnamed unnamed;
    QTest::ignoreMessage(QtWarningMsg, "Missing D_Bus interface tag on class");
    new DBus::PropertyNotifier(sender, u"/y"_s, &unnamed);
    Q_EMIT unnamed.aChanged();
    settle();
    QCOMPARE(recorder->received.size(), 1);
    QCOMPARE(recorder->received.constFirst().at(0).toString(), QString());
    QCOMPARE(change(0), QVariantMap({{u"a"_s, 0}}));
}

void TestPropertyNotifier::complainsWhenCalledDirectly()
{
    DBus::PropertyNotifierPrivate notifierPrivate(sender, u"/y"_s, object.get());
    QTest::ignoreMessage(QtWarningMsg, "onChanged() invoked without a signal?");
    notifierPrivate.onChanged();
    QObject::connect(object.get(), &Watched::aChanged, &notifierPrivate,
                     &DBus::PropertyNotifierPrivate::onChanged);
    QTest::ignoreMessage(QtWarningMsg, "Cannot find property for signal");
    Q_EMIT object->aChanged();
}

void TestPropertyNotifier::hasTwoSlots()
{
    const QMetaObject &meta = DBus::PropertyNotifierPrivate::staticMetaObject;
    QCOMPARE(meta.methodCount() - meta.methodOffset(), 2);
    QVERIFY(meta.indexOfSlot("onChanged()") >= 0);
    QVERIFY(meta.indexOfSlot("deliverNotifySignal()") >= 0);
}

QTEST_GUILESS_MAIN(TestPropertyNotifier)
#include "tst_property_notifier.moc"

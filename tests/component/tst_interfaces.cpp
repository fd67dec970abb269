// The installed interface descriptions agree with the introspection of the running daemon.

#include "support/fixture.h"

#include <QDir>
#include <QFile>
#include <QTest>
#include <QXmlStreamReader>

namespace {

// The elements of one interface of a description in the order of the file, each with its attributes
// in one line.
QStringList interfaceIn(const QByteArray &xml, const QString &interface, bool &valid)
{
    QStringList lines;
    bool inside = false;
    int depth = 0;
    QXmlStreamReader reader(xml);
    while (!reader.atEnd()) {
        const auto token = reader.readNext();
        if (token == QXmlStreamReader::StartElement) {
            QStringList attributes;
            for (const QXmlStreamAttribute &attribute : reader.attributes())
                attributes.append(QStringLiteral("%1=%2").arg(attribute.name(), attribute.value()));
            attributes.sort();
            if (reader.name() == QLatin1String("interface"))
                inside = reader.attributes().value(QStringLiteral("name")) == interface;
            if (inside)
                lines.append(QString(depth, QLatin1Char(' ')) + reader.name().toString()
                             + QLatin1Char(' ') + attributes.join(QLatin1Char(' ')));
            ++depth;
        } else if (token == QXmlStreamReader::EndElement) {
            --depth;
            if (reader.name() == QLatin1String("interface"))
                inside = false;
        }
    }
    valid = !reader.hasError();
    return lines;
}

} // namespace

class TestInterfaces : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase() { m_fixture.reset(); }
    void areWhatTheDaemonSays_data();
    void areWhatTheDaemonSays();
    void areAll();

private:
    [[nodiscard]] QByteArray description(const QString &path) const
    {
        const QDBusMessage reply = m_fixture->call(
            Fixture::methodCall(path, QStringLiteral("org.freedesktop.DBus.Introspectable"),
                                QStringLiteral("Introspect")));
        return reply.arguments().value(0).toString().toUtf8();
    }

    // The object path of each interface.
    const QMap<QString, QString> m_paths{
        {QStringLiteral("org.zarn.Orvane.TaskInvoker1"),
         QStringLiteral("/org/zarn/Orvane/TaskInvoker1")},
        {QStringLiteral("org.zarn.Orvane.TaskInvokerSession1"), Fixture::sessionPath()},
        {QStringLiteral("org.zarn.am.Autostart"), QStringLiteral("/org/zarn/am")},
        {QStringLiteral("org.zarn.Teller.Hooks"), QStringLiteral("/org/zarn/Teller/Hooks")}};
    const QDir m_directory{QStringLiteral(INTERFACES)};
    std::unique_ptr<Fixture> m_fixture;
};

void TestInterfaces::initTestCase()
{
    m_fixture = std::make_unique<Fixture>();
    m_fixture->root.serveType(QStringLiteral("Sync"));
    QVERIFY(m_fixture->start());
    QCOMPARE(m_fixture->registerInvoker(QStringLiteral("Sync")).type(), QDBusMessage::ReplyMessage);
}

void TestInterfaces::areWhatTheDaemonSays_data()
{
    QTest::addColumn<QString>("interface");
    for (const QString &interface : m_paths.keys())
        QTest::newRow(qPrintable(interface)) << interface;
}

void TestInterfaces::areWhatTheDaemonSays()
{
    QFETCH(QString, interface);
    QFile file(m_directory.filePath(interface + QStringLiteral(".xml")));
    QVERIFY(file.open(QIODevice::ReadOnly));
    bool valid = false;
    const QStringList installed = interfaceIn(file.readAll(), interface, valid);
    QVERIFY(valid);
    QVERIFY(installed.size() > 1);
    const QStringList live = interfaceIn(description(m_paths.value(interface)), interface, valid);
    QVERIFY(valid);
    QCOMPARE(installed.join(QLatin1Char('\n')), live.join(QLatin1Char('\n')));
}

void TestInterfaces::areAll()
{
    QStringList names = m_paths.keys();
    for (QString &name : names)
        name += QStringLiteral(".xml");
    QCOMPARE(m_directory.entryList(QDir::Files, QDir::Name), names);
    // No object offers a second interface of the daemon.
    for (const QString &path : m_paths) {
        const QByteArray xml = description(path);
        QCOMPARE(xml.count("<interface name=\"org.zarn."), 1);
    }
}

QTEST_GUILESS_MAIN(TestInterfaces)
#include "tst_interfaces.moc"

// The installed interface descriptions agree with the introspection of the running daemon, and so
// do the manual pages that are made of them.

#include "support/fixture.h"
#include "support/literals.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
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
                attributes.append(u"%1=%2"_s.arg(attribute.name(), attribute.value()));
            attributes.sort();
            if (reader.name() == QLatin1String("interface"))
                inside = reader.attributes().value(u"name"_s) == interface;
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

// A page without the formatter's changes of font and its escapes within words.
QString plainText(const QByteArray &page)
{
    QString text = QString::fromUtf8(page);
    text.remove(QRegularExpression(u"\\\\&|\\\\f[BIR]"_s));
    return text.replace(QLatin1String("\\-"), QLatin1String("-"));
}

// The part of a page below the heading of a member; empty where there is none.
QString sectionOf(const QString &page, const QString &kind, const QString &member)
{
    const QString name = kind == QLatin1String("method") ? member + QLatin1String("()") : member;
    const auto start = page.indexOf(u".SS \"The %1 %2\"\n"_s.arg(name, kind));
    return start < 0 ? QString()
                     : page.mid(start, page.indexOf(QLatin1String("\n.S"), start) - start);
}

// Whether the section of a member lists the argument with its direction and type, and has a text
// for it.
bool describesArgument(const QString &section, const QXmlStreamAttributes &argument)
{
    const QString direction = argument.value(u"direction"_s).toString();
    const QString term =
        QStringList{direction == QLatin1String("out") ? u"OUT"_s : u"IN"_s,
                    argument.value(u"type"_s).toString(), argument.value(u"name"_s).toString()}
            .join(QLatin1Char(' '));
    const QRegularExpression item(u"^%1:\n\\.RS 4\n[A-Z]"_s.arg(QRegularExpression::escape(term)),
                                  QRegularExpression::MultilineOption);
    return section.contains(item);
}

// What a page does not describe of the member that the reader is at: the member itself, or
// arguments.
QStringList missingOf(const QString &page, QXmlStreamReader &reader)
{
    const QString kind = reader.name().toString();
    const QString name = reader.attributes().value(u"name"_s).toString();
    const bool isMember = kind != QLatin1String("annotation");
    const QString section = sectionOf(page, kind, name);
    QStringList missing;
    if (isMember && section.isEmpty())
        missing.append(kind + QLatin1Char(' ') + name);
    while (reader.readNextStartElement()) {
        const QXmlStreamAttributes attributes = reader.attributes();
        if (reader.name() == QLatin1String("arg") && attributes.hasAttribute(u"name"_s)
            && !describesArgument(section, attributes))
            missing.append(name + QLatin1Char(' ') + attributes.value(u"name"_s).toString());
        reader.skipCurrentElement();
    }
    return missing;
}

QStringList missingIn(const QString &page, const QByteArray &xml, const QString &interface)
{
    QStringList missing;
    QXmlStreamReader reader(xml);
    reader.readNextStartElement();
    while (reader.readNextStartElement()) {
        if (reader.attributes().value(u"name"_s) != interface) {
            reader.skipCurrentElement();
            continue;
        }
        while (reader.readNextStartElement())
            missing += missingOf(page, reader);
    }
    return missing;
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
    void havePagesThatDescribeAllOfThem_data() { areWhatTheDaemonSays_data(); }
    void havePagesThatDescribeAllOfThem();
    void areAll();

private:
    [[nodiscard]] QByteArray description(const QString &path) const
    {
        const QDBusMessage reply = m_fixture->call(
            Fixture::methodCall(path, u"org.freedesktop.DBus.Introspectable"_s, u"Introspect"_s));
        return reply.arguments().value(0).toString().toUtf8();
    }

    // The object path of each interface.
    const QMap<QString, QString> m_paths{
        {u"org.zarn.Orvane.TaskInvoker1"_s, u"/org/zarn/Orvane/TaskInvoker1"_s},
        {u"org.zarn.Orvane.TaskInvokerSession1"_s, Fixture::sessionPath()},
        {u"org.zarn.am.Autostart"_s, u"/org/zarn/am"_s},
        {u"org.zarn.Teller.Hooks"_s, u"/org/zarn/Teller/Hooks"_s}};
    const QDir m_directory{QStringLiteral(INTERFACES)};
    std::unique_ptr<Fixture> m_fixture;
};

void TestInterfaces::initTestCase()
{
    m_fixture = std::make_unique<Fixture>();
    m_fixture->root.serveType(u"Sync"_s);
    QVERIFY(m_fixture->start());
    QCOMPARE(m_fixture->registerInvoker(u"Sync"_s).type(), QDBusMessage::ReplyMessage);
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
    QFile file(m_directory.filePath(interface + u".xml"_s));
    QVERIFY(file.open(QIODevice::ReadOnly));
    bool valid = false;
    const QStringList installed = interfaceIn(file.readAll(), interface, valid);
    QVERIFY(valid);
    QVERIFY(installed.size() > 1);
    // Qt 6 has one class for both, and annotates a property with its other name.
    const QByteArray described =
        description(m_paths.value(interface)).replace("QList&lt;Orvane::", "QVector&lt;Orvane::");
    const QStringList live = interfaceIn(described, interface, valid);
    QVERIFY(valid);
    QCOMPARE(installed.join(QLatin1Char('\n')), live.join(QLatin1Char('\n')));
}

void TestInterfaces::havePagesThatDescribeAllOfThem()
{
    QFETCH(QString, interface);
    QFile file(QDir(QStringLiteral(INTERFACE_PAGES)).filePath(interface + u".5"_s));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(missingIn(plainText(file.readAll()), description(m_paths.value(interface)), interface),
             QStringList());
}

void TestInterfaces::areAll()
{
    QStringList names = m_paths.keys();
    for (QString &name : names)
        name += u".xml"_s;
    QCOMPARE(m_directory.entryList(QDir::Files, QDir::Name), names);
    // No object offers a second interface of the daemon.
    for (const QString &path : m_paths) {
        const QByteArray xml = description(path);
        QCOMPARE(xml.count("<interface name=\"org.zarn."), 1);
    }
}

QTEST_GUILESS_MAIN(TestInterfaces)
#include "tst_interfaces.moc"

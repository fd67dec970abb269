#include "cli/gate.h"

#include <QJsonObject>
#include <QTest>

using Cli::Gate;

class TestGate : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void alignsTheAnswers();
    void showsTheConsequenceAndTheCureOfAShutGate();
    void showsNoControlCharacters();
    void findsTheFirstThatIsShut();
    void writesObjects();
};

namespace {

const Gate open{QStringLiteral("entry"), Gate::Yes, QStringLiteral("notes.desktop:1"),
                QStringLiteral("it does not exist"), QStringLiteral("apt install notes")};
const Gate shut{QStringLiteral("program"), Gate::No, QStringLiteral("/usr/bin/notes is missing"),
                QStringLiteral("a start is refused"), QStringLiteral("chmod a+x /usr/bin/notes")};
const Gate unknown{QStringLiteral("name owned"), Gate::NotKnown, QStringLiteral("no bus"), {}, {}};

// The output of tests is not a terminal: it has neither colours nor a width.
const Cli::Output &output()
{
    static const Cli::Output plain(false, false);
    return plain;
}

} // namespace

void TestGate::alignsTheAnswers()
{
    QCOMPARE(Cli::linesOf({open, unknown}, output()),
             QStringList({QStringLiteral("yes  entry       notes.desktop:1"),
                          QStringLiteral("?    name owned  no bus")}));
}

void TestGate::showsTheConsequenceAndTheCureOfAShutGate()
{
    QCOMPARE(Cli::linesOf({shut}, output()),
             QStringList({QStringLiteral("no   program  /usr/bin/notes is missing"),
                          QStringLiteral("              a start is refused"),
                          QStringLiteral("              try: chmod a+x /usr/bin/notes")}));
}

void TestGate::showsNoControlCharacters()
{
    const Gate gate{QStringLiteral("program"), Gate::No, QStringLiteral("a\033[2J"),
                    QStringLiteral("b\n"), QStringLiteral("c\r")};
    QCOMPARE(Cli::linesOf({gate}, output()),
             QStringList({QStringLiteral("no   program  a?[2J"), QStringLiteral("              b?"),
                          QStringLiteral("              try: c?")}));
}

void TestGate::findsTheFirstThatIsShut()
{
    const QVector<Gate> gates{open, unknown, shut};
    QCOMPARE(Cli::firstShut(gates), &gates.at(2));
    QVERIFY(Cli::firstShut({open, unknown}) == nullptr);
}

void TestGate::writesObjects()
{
    const QJsonArray objects = Cli::objectsOf({shut, unknown});
    QCOMPARE(objects.at(0).toObject(),
             QJsonObject({{QStringLiteral("gate"), QStringLiteral("program")},
                          {QStringLiteral("answer"), QStringLiteral("no")},
                          {QStringLiteral("evidence"), QStringLiteral("/usr/bin/notes is missing")},
                          {QStringLiteral("consequence"), QStringLiteral("a start is refused")},
                          {QStringLiteral("cure"), QStringLiteral("chmod a+x /usr/bin/notes")}}));
    QCOMPARE(objects.at(1).toObject(),
             QJsonObject({{QStringLiteral("gate"), QStringLiteral("name owned")},
                          {QStringLiteral("answer"), QStringLiteral("unknown")},
                          {QStringLiteral("evidence"), QStringLiteral("no bus")}}));
}

QTEST_GUILESS_MAIN(TestGate)
#include "tst_gate.moc"

#include "cli/gate.h"
#include "support/literals.h"

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

const Gate open{u"entry"_s, Gate::Yes, u"notes.desktop:1"_s, u"it does not exist"_s,
                u"apt install notes"_s};
const Gate shut{u"program"_s, Gate::No, u"/usr/bin/notes is missing"_s, u"a start is refused"_s,
                u"chmod a+x /usr/bin/notes"_s};
const Gate unknown{u"name owned"_s, Gate::NotKnown, u"no bus"_s, {}, {}};

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
             QStringList({u"yes  entry       notes.desktop:1"_s, u"?    name owned  no bus"_s}));
}

void TestGate::showsTheConsequenceAndTheCureOfAShutGate()
{
    QCOMPARE(Cli::linesOf({shut}, output()),
             QStringList({u"no   program  /usr/bin/notes is missing"_s,
                          u"              a start is refused"_s,
                          u"              try: chmod a+x /usr/bin/notes"_s}));
}

void TestGate::showsNoControlCharacters()
{
    const Gate gate{u"program"_s, Gate::No, u"a\033[2J"_s, u"b\n"_s, u"c\r"_s};
    QCOMPARE(
        Cli::linesOf({gate}, output()),
        QStringList({u"no   program  a?[2J"_s, u"              b?"_s, u"              try: c?"_s}));
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
             QJsonObject({{u"gate"_s, u"program"_s},
                          {u"answer"_s, u"no"_s},
                          {u"evidence"_s, u"/usr/bin/notes is missing"_s},
                          {u"consequence"_s, u"a start is refused"_s},
                          {u"cure"_s, u"chmod a+x /usr/bin/notes"_s}}));
    QCOMPARE(objects.at(1).toObject(),
             QJsonObject({{u"gate"_s, u"name owned"_s},
                          {u"answer"_s, u"unknown"_s},
                          {u"evidence"_s, u"no bus"_s}}));
}

QTEST_GUILESS_MAIN(TestGate)
#include "tst_gate.moc"

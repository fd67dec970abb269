// How figures are measured in rounds and judged.

#include "support/judgement.h"
#include "support/report.h"
#include "support/rounds.h"

#include <QJsonDocument>
#include <QtTest>

#include <algorithm>

using namespace Bench;

namespace {

Samples samplesOf(const QVector<double> &peer, const QVector<double> &orvane,
                  Judged judged = Judged::Ratio)
{
    return {{QStringLiteral("figure"), QStringLiteral("ms"), judged, 2.0, 1.5}, peer, orvane};
}

// For each round the values of the figures.
using Rounds = QVector<QVector<double>>;

// A side that takes the values of the next round; after the last one these stay. None without
// rounds.
std::function<QVector<double>()> sideWith(Rounds rounds)
{
    if (rounds.isEmpty())
        return {};
    return [rounds = std::move(rounds), round = 0]() mutable {
        return rounds[std::min(round++, static_cast<int>(rounds.size()) - 1)];
    };
}

// The first figure's samples.
Samples measured(const QVector<Figure> &figures, int rounds, const Rounds &peer,
                 const Rounds &orvane)
{
    return measure({figures, Place::Here, rounds,
                    [=] {
                        return Sides{sideWith(peer), sideWith(orvane)};
                    }})
        .constFirst();
}

const Figure ratioOfTimes{QStringLiteral("figure"), QStringLiteral("ms"), Judged::Ratio, 2.0, 1.5};

} // namespace

class TestJudgement : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theMedianOfEachSideIsShown()
    {
        const Judgement judgement = judge(samplesOf({9, 10, 90}, {17, 18, 19}));
        QCOMPARE(judgement.peer, 10.0);
        QCOMPARE(judgement.orvane, 18.0);
    }

    // The medians of the sides are 10 and 20.5.
    void theMedianOfTheRatiosOfTheRoundsIsJudged()
    {
        const Judgement judgement = judge(samplesOf({10, 10, 12}, {19.9, 20.5, 23}));
        QCOMPARE(judgement.ratio, 1.99);
        QCOMPARE(judgement.verdict, Verdict::Met);
    }

    void aRatioOfNothingToNothingIsNone()
    {
        QVERIFY(qIsNaN(judge(samplesOf({0, 10}, {0, 10}, Judged::Worst)).ratio));
    }

    void aVerdictIsAboutMustAndStretch_data()
    {
        QTest::addColumn<double>("orvane");
        QTest::addColumn<int>("verdict");
        QTest::newRow("below stretch") << 14.0 << int(Verdict::Stretch);
        QTest::newRow("between stretch and must") << 18.0 << int(Verdict::Met);
        QTest::newRow("at must") << 20.0 << int(Verdict::Met);
        QTest::newRow("above must") << 21.0 << int(Verdict::Missed);
    }

    void aVerdictIsAboutMustAndStretch()
    {
        QFETCH(double, orvane);
        QTEST(int(judge(samplesOf({10, 10, 10}, {orvane, orvane, orvane})).verdict), "verdict");
    }

    void aBoundOnTheValueDoesNotLookAtThePeer()
    {
        QCOMPARE(judge(samplesOf({100, 100}, {3, 3}, Judged::Value)).verdict, Verdict::Missed);
        QCOMPARE(judge(samplesOf({}, {1, 1}, Judged::Value)).verdict, Verdict::Stretch);
    }

    void oneWrongRoundIsMissedWhereNoneMayBeWrong()
    {
        Samples samples = samplesOf({0, 0, 0}, {0, 0, 88}, Judged::Worst);
        samples.figure.must = 0;
        samples.figure.stretch.reset();
        const Judgement judgement = judge(samples);
        QCOMPARE(judgement.orvane, 88.0);
        QCOMPARE(judgement.verdict, Verdict::Missed);
        QVERIFY(!isUndecided(samples));
        samples.orvane = {0, 0, 0};
        QCOMPARE(judge(samples).verdict, Verdict::Met);
    }

    void aNoisySideIsNotJudgedNearTheBound()
    {
        QCOMPARE(judge(samplesOf({5, 10, 15}, {14, 21, 28})).verdict, Verdict::Noisy);
    }

    void noiseOfWholeRoundsIsNoneOfTheirRatio()
    {
        QCOMPARE(judge(samplesOf({5, 10, 20, 40}, {9, 18, 36, 72})).verdict, Verdict::Met);
        QCOMPARE(judge(samplesOf({5, 10, 20, 40}, {11, 22, 44, 88})).verdict, Verdict::Missed);
    }

    void moreRoundsDecideWhatFewDoNot()
    {
        Samples samples = samplesOf({5, 10, 15, 10}, {5, 22, 45, 18});
        QVERIFY(isUndecided(samples));
        const QVector<double> peer = samples.peer;
        const QVector<double> orvane{5, 19, 45, 18};
        for (int more = 0; more < 30; ++more) {
            samples.peer += peer;
            samples.orvane += orvane;
        }
        QVERIFY(!isUndecided(samples));
        QCOMPARE(judge(samples).verdict, Verdict::Met);
    }

    void aBoundThatIsHitExactlyIsDecided()
    {
        QVERIFY(!isUndecided(samplesOf({10, 10, 10}, {20, 20, 20})));
        QVERIFY(!isUndecided(samplesOf({}, {})));
    }

    void noiseDoesNotHideWhatIsFarFromTheBound()
    {
        QCOMPARE(judge(samplesOf({5, 10, 15}, {140, 210, 280})).verdict, Verdict::Missed);
        QCOMPARE(judge(samplesOf({50, 100, 150}, {14, 21, 28})).verdict, Verdict::Stretch);
    }

    void aSideWithoutValuesCountsAsMissed()
    {
        const Samples samples = samplesOf({10, 10}, {});
        QCOMPARE(judge(samples).verdict, Verdict::Failed);
        QCOMPARE(statusOf({samples}), 1);
    }

    void theStatusTellsMissedFromNotJudged()
    {
        const Samples met = samplesOf({10, 10}, {10, 10});
        const Samples missed = samplesOf({10, 10}, {30, 30});
        const Samples noisy = samplesOf({5, 10, 15}, {14, 21, 28});
        QCOMPARE(statusOf({met}), 0);
        QCOMPARE(statusOf({met, noisy}), 3);
        QCOMPARE(statusOf({noisy, missed}), 1);
    }

    void theFirstOfManyRoundsIsNotCounted()
    {
        const Samples samples = measured({ratioOfTimes}, 4, {{90}, {10}}, {{10}});
        QCOMPARE(samples.peer, QVector<double>({10, 10, 10}));
        QCOMPARE(samples.orvane, QVector<double>({10, 10, 10}));
    }

    void theFirstOfManyRoundsCountsWhereNoneMayBeWrong()
    {
        const Figure errors{
            QStringLiteral("errors"), QStringLiteral("errors"), Judged::Worst, 0, {}};
        const Samples samples = measured({errors}, 4, {{0}}, {{88}, {0}});
        QCOMPARE(samples.orvane, QVector<double>({88, 0, 0, 0}));
        QCOMPARE(judge(samples).verdict, Verdict::Missed);
    }

    void aFailedRoundIsNamedAndNotMeasured_data()
    {
        QTest::addColumn<Rounds>("peer");
        QTest::addColumn<Rounds>("orvane");
        QTest::newRow("of the daemon") << Rounds{{10}} << Rounds{{10}, {10}, {}, {10}};
        QTest::newRow("of the peer") << Rounds{{10}, {}, {10}} << Rounds{{10}};
        QTest::newRow("that has no number") << Rounds{{10}} << Rounds{{10}, {10}, {qQNaN()}, {10}};
        QTest::newRow("that warms up") << Rounds{{10}} << Rounds{{}, {10}};
        QTest::newRow("all but one") << Rounds{{10}} << Rounds{{}, {10}, {}};
    }

    void aFailedRoundIsNamedAndNotMeasured()
    {
        QFETCH(Rounds, peer);
        QFETCH(Rounds, orvane);
        for (const Judged judged : {Judged::Ratio, Judged::Value, Judged::Worst}) {
            Figure figure = ratioOfTimes;
            figure.judged = judged;
            QTest::ignoreMessage(QtWarningMsg, "figure: not measured, because a round failed");
            const QByteArray json =
                QJsonDocument(toJson({measured({figure}, 4, peer, orvane)})).toJson();
            const QVector<Samples> back = fromJson(QJsonDocument::fromJson(json).array());
            QCOMPARE(judge(back.constFirst()).verdict, Verdict::Failed);
            QCOMPARE(statusOf(back), 1);
        }
    }

    void aFigureThatFailsAloneLeavesTheOthers()
    {
        const Figure other{QStringLiteral("other"), QStringLiteral("ms"), Judged::Ratio, 2.0, 1.5};
        QTest::ignoreMessage(QtWarningMsg, "other: not measured, because a round failed");
        QCOMPARE(judge(measured({ratioOfTimes, other}, 2, {{10, 10}}, {{10, qQNaN()}})).verdict,
                 Verdict::Stretch);
    }

    void aMeasurementWithoutPeerIsMeasured()
    {
        Figure figure = ratioOfTimes;
        figure.judged = Judged::Value;
        const Samples samples = measured({figure}, 2, {}, {{1}});
        QVERIFY(samples.peer.isEmpty());
        QCOMPARE(judge(samples).verdict, Verdict::Stretch);
    }

    void moreRoundsFollowWhileTheyCouldChangeTheVerdict()
    {
        const Rounds around{{15}, {25}, {15}, {25}, {15}, {25}, {15}, {25}};
        QCOMPARE(measured({ratioOfTimes}, 2, {{10}}, around).orvane.size(), 8);
        QCOMPARE(measured({ratioOfTimes}, 2, {{10}}, {{15}}).orvane.size(), 2);
    }

    void samplesComeBackFromJson()
    {
        const Samples samples = samplesOf({1, 2}, {3}, Judged::Value);
        const QVector<Samples> back = fromJson(toJson({samples}));
        QCOMPARE(back.size(), 1);
        QCOMPARE(back[0].peer, samples.peer);
        QCOMPARE(back[0].orvane, samples.orvane);
        QCOMPARE(back[0].figure.must, samples.figure.must);
        QCOMPARE(back[0].figure.judged, Judged::Value);
        QCOMPARE(tableOf(back), tableOf({samples}));
    }

    void theKindOfAJudgementComesBackFromJson_data()
    {
        QTest::addColumn<int>("judged");
        QTest::newRow("ratio") << int(Judged::Ratio);
        QTest::newRow("value") << int(Judged::Value);
        QTest::newRow("worst round") << int(Judged::Worst);
    }

    void theKindOfAJudgementComesBackFromJson()
    {
        QFETCH(int, judged);
        const Samples samples = samplesOf({1}, {3}, Judged(judged));
        QCOMPARE(int(fromJson(toJson({samples}))[0].figure.judged), judged);
    }
};

QTEST_APPLESS_MAIN(TestJudgement)

#include "tst_judgement.moc"

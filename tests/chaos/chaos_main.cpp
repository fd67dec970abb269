// Runs the built daemon under faults and looks at what it leaves. scripts/chaos starts this.
//
//     chaos [--seed N] [--sample] [--share I/N] [--only NAME] [--fault CALL:N] PART...

#include "chaos/campaign.h"
#include "support/literals.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QMap>

#include <cstdio>
#include <cstdlib>

namespace {

using Part = void (*)(Chaos::Campaign &);

const QMap<QString, Part> &parts()
{
    static const QMap<QString, Part> parts{
        {u"errors"_s, Chaos::runErrors}, {u"floods"_s, Chaos::runFloods},
        {u"kills"_s, Chaos::runKills},   {u"limits"_s, Chaos::runLimits},
        {u"peers"_s, Chaos::runPeers},   {u"places"_s, Chaos::runPlaces},
        {u"soak"_s, Chaos::runSoak}};
    return parts;
}

void runPart(Chaos::Campaign &campaign, const QString &name)
{
    QElapsedTimer time;
    time.start();
    campaign.random.seed(campaign.seed);
    parts().value(name)(campaign);
    campaign.tally.endPart(name);
    std::fprintf(stderr, "chaos: %s, share %d of %d: %lld s\n", qPrintable(name),
                 campaign.share + 1, campaign.shares,
                 static_cast<long long>(time.elapsed() / 1000));
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    const QCommandLineOption seed(u"seed"_s, {}, u"N"_s, u"1"_s);
    const QCommandLineOption sample(u"sample"_s);
    const QCommandLineOption share(u"share"_s, {}, u"I/N"_s, u"0/1"_s);
    const QCommandLineOption only(u"only"_s, {}, u"NAME"_s);
    const QCommandLineOption fault(u"fault"_s, {}, u"CALL:N"_s);
    parser.addOptions({seed, sample, share, only, fault});
    parser.addPositionalArgument(u"PART"_s, {});
    parser.process(application);

    Chaos::Campaign campaign;
    campaign.seed = parser.value(seed).toUInt();
    campaign.isSample = parser.isSet(sample);
    campaign.share = parser.value(share).section(QLatin1Char('/'), 0, 0).toInt();
    campaign.shares = qMax(1, parser.value(share).section(QLatin1Char('/'), 1, 1).toInt());
    campaign.only = parser.value(only);
    campaign.fault = parser.value(fault);
    const QStringList names = parser.positionalArguments();
    for (const QString &name : names) {
        if (!parts().contains(name))
            qFatal("no part is called %s", qPrintable(name));
        runPart(campaign, name);
    }
    campaign.tally.print();
    return campaign.tally.allHeld() ? EXIT_SUCCESS : EXIT_FAILURE;
}

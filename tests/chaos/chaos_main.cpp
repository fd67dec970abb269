// Runs the built daemon under faults and looks at what it leaves. scripts/chaos starts this.
//
//     chaos [--seed N] [--sample] [--share I/N] [--only NAME] [--fault CALL:N] PART...

#include "chaos/campaign.h"

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
        {QStringLiteral("errors"), Chaos::runErrors}, {QStringLiteral("floods"), Chaos::runFloods},
        {QStringLiteral("kills"), Chaos::runKills},   {QStringLiteral("limits"), Chaos::runLimits},
        {QStringLiteral("peers"), Chaos::runPeers},   {QStringLiteral("places"), Chaos::runPlaces},
        {QStringLiteral("soak"), Chaos::runSoak}};
    return parts;
}

void runPart(Chaos::Campaign &campaign, const QString &name)
{
    QElapsedTimer time;
    time.start();
    campaign.random.seed(campaign.seed);
    parts().value(name)(campaign);
    std::fprintf(stderr, "chaos: %s, share %d of %d: %lld s\n", qPrintable(name),
                 campaign.share + 1, campaign.shares,
                 static_cast<long long>(time.elapsed() / 1000));
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    const QCommandLineOption seed(QStringLiteral("seed"), {}, QStringLiteral("N"),
                                  QStringLiteral("1"));
    const QCommandLineOption sample(QStringLiteral("sample"));
    const QCommandLineOption share(QStringLiteral("share"), {}, QStringLiteral("I/N"),
                                   QStringLiteral("0/1"));
    const QCommandLineOption only(QStringLiteral("only"), {}, QStringLiteral("NAME"));
    const QCommandLineOption fault(QStringLiteral("fault"), {}, QStringLiteral("CALL:N"));
    parser.addOptions({seed, sample, share, only, fault});
    parser.addPositionalArgument(QStringLiteral("PART"), {});
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

#include "chaos/holdings.h"
#include "support/literals.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <cstdio>

namespace Chaos {

namespace {

// What the allocator keeps differs by a few pages from run to run.
constexpr int memoryToleranceKb = 2048;

} // namespace

Holdings holdingsOf(Scene &scene)
{
    const QString process = u"/proc/%1/"_s.arg(scene.fixture.daemon.processId());
    QFile status(process + u"status"_s);
    const QByteArray text =
        status.open(QIODevice::ReadOnly) ? status.readAll() : QByteArray("RssAnon: 0 kB");
    const QByteArray anonymous = text.mid(text.indexOf("RssAnon:") + 8).simplified();
    const QStringList open =
        QDir(process + u"fd"_s).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
    return {anonymous.left(anonymous.indexOf(' ')).toInt(), int(open.size()),
            scene.fixture.matchRules()};
}

Holdings settledHoldingsOf(Scene &scene)
{
    constexpr int betweenLooksMs = 500;
    Holdings holdings;
    (void)Fixture::waitUntil([&] {
        QTest::qWait(betweenLooksMs);
        const Holdings last = holdings;
        holdings = holdingsOf(scene);
        return last.descriptors == holdings.descriptors && last.matchRules == holdings.matchRules
            && last.memoryKb == holdings.memoryKb;
    });
    return holdings;
}

QStringList differences(const Holdings &before, const Holdings &after)
{
    QStringList wrong;
    if (after.memoryKb > before.memoryKb + memoryToleranceKb)
        wrong.append(u"memory: %1 kB, then %2"_s.arg(before.memoryKb).arg(after.memoryKb));
    if (after.descriptors != before.descriptors)
        wrong.append(u"descriptors: %1, then %2"_s.arg(before.descriptors).arg(after.descriptors));
    if (after.matchRules != before.matchRules)
        wrong.append(u"match rules: %1, then %2"_s.arg(before.matchRules).arg(after.matchRules));
    return wrong;
}

void report(const char *part, const Holdings &before, const Holdings &after)
{
    std::fprintf(stderr, "%s: %d kB, %d descriptors, %d match rules; then %d, %d, %d\n", part,
                 before.memoryKb, before.descriptors, before.matchRules, after.memoryKb,
                 after.descriptors, after.matchRules);
}

} // namespace Chaos

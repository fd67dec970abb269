// RegisterInvoker for a type with 3,000 tasks, beside GetAll of the session's properties.
//
// Fair, because both answers of the same daemon hold the same two lists, and what counts is the
// daemon's processor time from the call to the answer. Nobody can be cheaper than sending the list
// once.

#include "figures/figures.h"

#include "common/names.h"
#include "support/stage.h"

#include <memory>

namespace Bench {

namespace {

constexpr int size = 3000;
constexpr int callsOfASample = 5;

template <typename Call>
QVector<double> costOf(const Stage &stage, const Call &call)
{
    const double before = processorMs(stage.daemon.pid());
    for (int number = 0; number < callsOfASample; ++number) {
        if (call().type() != QDBusMessage::ReplyMessage)
            return {};
    }
    return {(processorMs(stage.daemon.pid()) - before) / callsOfASample};
}

QDBusMessage getAll(const Stage &stage)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        Names::service(), Names::taskInvokerSessionsPath() + QStringLiteral("Sync"),
        Names::propertiesInterface(), QStringLiteral("GetAll"));
    call << Names::taskInvokerSessionInterface();
    return callAndWait(stage.client, call);
}

} // namespace

Measurement registrationWithManyTasks()
{
    return {{{QStringLiteral("register-3000"), QStringLiteral("ms"), Judged::Ratio, 1.1, 1.0}},
            Place::Here,
            11,
            [] {
                auto stage = std::make_shared<Stage>();
                writeEntries(stage->root, size, QStringLiteral("Sync"));
                stage->startManager();
                stage->startDaemon();
                const QString type = QStringLiteral("Sync");
                // The scan that the first one brings about is measured elsewhere.
                stage->registerInvoker(stage->client, type);
                return Sides{[stage] { return costOf(*stage, [&] { return getAll(*stage); }); },
                             [stage, type] {
                                 return costOf(*stage, [&] {
                                     return stage->registerInvoker(stage->client, type);
                                 });
                             }};
            }};
}

} // namespace Bench

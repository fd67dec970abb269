// RegisterInvoker for a type with 3,000 tasks, beside GetAll of the session's properties.
//
// The comparison is fair because both answers of the same daemon contain the same two lists. The
// daemon's processor time from the call to the answer is measured. No implementation can be cheaper
// than sending the lists once.

#include "figures/figures.h"

#include "common/names.h"
#include "support/fixture.h"

#include <memory>

namespace Bench {

namespace {

constexpr int size = 3000;
constexpr int callsOfASample = 5;

template <typename Call>
QVector<double> costOf(const Fixture &fixture, const Call &call)
{
    const double before = processorMs(fixture.daemon.pid());
    for (int number = 0; number < callsOfASample; ++number) {
        if (call().type() != QDBusMessage::ReplyMessage)
            return {};
    }
    return {(processorMs(fixture.daemon.pid()) - before) / callsOfASample};
}

QDBusMessage getAll(const Fixture &fixture)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        Names::service(), Names::taskInvokerSessionsPath() + QStringLiteral("Sync"),
        Names::propertiesInterface(), QStringLiteral("GetAll"));
    call << Names::taskInvokerSessionInterface();
    return callAndWait(fixture.client, call);
}

} // namespace

Measurement registrationWithManyTasks()
{
    return {{{QStringLiteral("register-3000"), QStringLiteral("ms"), Judged::Ratio, 1.1, 1.0}},
            Place::Here,
            101,
            [] {
                auto fixture = std::make_shared<Fixture>();
                writeEntries(fixture->root, size, QStringLiteral("Sync"));
                fixture->startManager();
                fixture->startDaemon();
                const QString type = QStringLiteral("Sync");
                // The first registration causes a scan, which is measured elsewhere.
                fixture->registerInvoker(fixture->client, type);
                return Sides{
                    [fixture] { return costOf(*fixture, [&] { return getAll(*fixture); }); },
                    [fixture, type] {
                        return costOf(*fixture, [&] {
                            return fixture->registerInvoker(fixture->client, type);
                        });
                    }};
            }};
}

} // namespace Bench

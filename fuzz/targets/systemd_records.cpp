// systemd's listings with any values: every record is read, and a record that is sent again is read
// in the same way.

#include "fuzz/support/property.h"
#include "fuzz/support/scratch.h"
#include "fuzz/support/wire.h"
#include "system/Core/systemd_proxy.h"

#include <QDBusArgument>
#include <QDBusMetaType>

using Core::SystemdProxy;

namespace {

bool isSame(const SystemdProxy::Unit &a, const SystemdProxy::Unit &b)
{
    return a.name == b.name && a.description == b.description && a.activeState == b.activeState
        && a.subState == b.subState && a.path == b.path && a.jobId == b.jobId;
}

bool isSame(const SystemdProxy::UnitFileStatus &a, const SystemdProxy::UnitFileStatus &b)
{
    return a.path == b.path && a.state == b.state;
}

template <typename Record>
QVector<Record> recordsOf(const QDBusMessage &message)
{
    FUZZ_PROPERTY(message.arguments().size() == 1, "a listing arrives");
    return qdbus_cast<QVector<Record>>(message.arguments().constFirst());
}

template <typename Record>
void checkListing(const char *signature, Input &input)
{
    const auto records = recordsOf<Record>(Wire::instance().received(signature, input));
    const auto again =
        recordsOf<Record>(Wire::instance().sentAndReceived({QVariant::fromValue(records)}));
    FUZZ_PROPERTY(again.size() == records.size(), "every record is read");
    for (int i = 0; i < records.size(); ++i)
        FUZZ_PROPERTY(isSame(records.at(i), again.at(i)), "a record is read the same");
}

bool registerRecords()
{
    qDBusRegisterMetaType<SystemdProxy::Unit>();
    qDBusRegisterMetaType<QVector<SystemdProxy::Unit>>();
    qDBusRegisterMetaType<SystemdProxy::UnitFileStatus>();
    qDBusRegisterMetaType<QVector<SystemdProxy::UnitFileStatus>>();
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    (void)Scratch::instance();
    static const bool areRegistered = registerRecords();
    Q_UNUSED(areRegistered)
    Input input(data, size);
    if (input.below(2) == 0)
        checkListing<SystemdProxy::Unit>("a(ssssssouso)", input);
    else
        checkListing<SystemdProxy::UnitFileStatus>("a(ss)", input);
    return 0;
}

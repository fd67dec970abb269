// Changes of a unit's properties with any values: a known task runs exactly when systemd says
// active and running, whatever else it says, and no signal makes a new record or an unknown state.

#include "fuzz/support/property.h"
#include "fuzz/support/scratch.h"
#include "fuzz/support/wire.h"
#include "system/Core/task_records.h"

#include <QDBusArgument>

using Core::TaskRecord;
using Core::TaskRecords;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    (void)Scratch::instance();
    const QString unit = QStringLiteral("ov_task.com.example.Notes.task_sync.service");
    const QString type = QStringLiteral("Sync");
    TaskRecords records([&type](const QString &) { return type; });
    (void)records.findOrCreate(unit);
    Input input(data, size);
    for (int signals = 1 + input.below(3); signals > 0; --signals) {
        const QVariantList arguments = Wire::instance().received("sa{sv}as", input).arguments();
        FUZZ_PROPERTY(arguments.size() == 3, "a signal arrives");
        const auto changes = qdbus_cast<QVariantMap>(arguments.at(1));
        const TaskRecord before = records.all().first();
        FUZZ_PROPERTY(records.applyProperties(unit, changes), "a known task's signal counts");
        FUZZ_PROPERTY(!records.applyProperties(input.text(), changes), "another's does not");
        const TaskRecord &record = records.all().first();
        const QString active = changes.value(QStringLiteral("ActiveState")).toString();
        const QString sub = changes.value(QStringLiteral("SubState")).toString();
        const bool runs = changes.contains(QStringLiteral("ActiveState"))
            ? active == QLatin1String("active") && sub == QLatin1String("running")
            : before.state == TaskRecord::Running;
        FUZZ_PROPERTY((record.state == TaskRecord::Running) == runs, "a task runs or not");
        FUZZ_PROPERTY(records.running(type).tasks.size() == (runs ? 1 : 0), "what runs is listed");
        if (!changes.contains(QStringLiteral("MainPID")))
            FUZZ_PROPERTY(record.mainPid == before.mainPid, "a process id changes by name");
    }
    return 0;
}

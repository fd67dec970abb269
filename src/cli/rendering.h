#pragma once

#include "cli/declared_tasks.h"
#include "client/start_request.h"
#include "common/Core/findings.h"
#include "plan/task_plan.h"

#include <QVector>

struct Places;

namespace Cli {

/// What the daemon would write for a start, and what it would report.
struct Rendering
{
    Core::Error error;
    Core::TaskPlan plan;
    /// The planner's findings, in its order.
    QVector<Core::Finding> findings;
};

/// Plans a start as the daemon would. Reads the program and the permission files; writes nothing.
/// @param task a declared task of a type that the daemon itself serves.
[[nodiscard]] Rendering render(const DeclaredTask &task, const Client::StartRequest &request,
                               const Places &places);

} // namespace Cli

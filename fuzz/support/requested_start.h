#pragma once

#include "common/Core/application_info.h"
#include "fuzz/support/input.h"
#include "plan/start_request.h"

/// A task's declaration and the hints of a start, made from an input of fields "KEY=VALUE". The
/// keys are those of a desktop entry (Organization, Application, Task, Exec) and the names of hints
/// (User, DBusService, Homeless, Weight, CPULimit). Param, Permission and Environment add a word
/// each. Every other key is a setting of the unit, which becomes a list when it is repeated. A key
/// that is missing has an ordinary value.
struct RequestedStart
{
    explicit RequestedStart(Input input);

    Core::ApplicationInfo::TaskInfo task;
    Core::StartRequest request;
};

#pragma once

#include "common/Core/application_info.h"
#include "fuzz/support/input.h"
#include "plan/start_request.h"

/// What an application declares and a caller asks for, made of an input: fields "KEY=VALUE". The
/// keys are those of a desktop entry (Organization, Application, Task, Exec) and the names of the
/// hints (User, DBusService, Homeless, Weight, CPULimit); Param, Permission and Environment add one
/// word each, and every other key is a setting of the unit, which becomes a list when it comes
/// again. Of what is missing there is a plain value.
struct RequestedStart
{
    explicit RequestedStart(Input input);

    Core::ApplicationInfo::TaskInfo task;
    Core::StartRequest request;
};

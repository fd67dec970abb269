// Stand-in for the platform's access control library: the one function that this project uses.
#pragma once

#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Whether a user belongs to a group, as their primary group or as a member, according to the
/// system's user database. False for an unknown user or group.
bool sailfish_access_control_hasgroup(uid_t uid, const char *group);

#ifdef __cplusplus
}
#endif

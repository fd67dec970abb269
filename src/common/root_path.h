#pragma once

#include <QString>

/// The value of the environment variable ORVANE_ROOTFS, read as UTF-8; empty when unset. If it is
/// set, the daemon works on the system image mounted there. Read at each call, so that tests can
/// change it.
[[nodiscard]] QString rootPrefix();

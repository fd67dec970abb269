#pragma once

#include <QString>

/// The root prefix: the value of the environment variable ORVANE_ROOTFS, read as UTF-8 up to its
/// first zero byte; empty when unset. With it the daemon works on a mounted system image.
/// Read anew at each call, so that a test may change it.
[[nodiscard]] QString rootPrefix();

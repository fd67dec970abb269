#include "common/root_path.h"

#include <cstdlib>

QString rootPrefix() { return QString::fromUtf8(std::getenv("ORVANE_ROOTFS")); }

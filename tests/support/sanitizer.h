#pragma once

/// Whether the program runs under a sanitizer that keeps freed memory, to see whether it is used
/// again: memory cannot be measured then.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool keepsFreedMemory = true;
#else
constexpr bool keepsFreedMemory = false;
#endif

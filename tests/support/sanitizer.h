#pragma once

/// Whether the program runs under a sanitizer that keeps freed memory, to see whether it is used
/// again: memory cannot be measured then.
#ifdef __has_feature
#define HAS_SANITIZER(name) __has_feature(name##_sanitizer)
#else
#define HAS_SANITIZER(name) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || HAS_SANITIZER(address)        \
    || HAS_SANITIZER(thread)
constexpr bool keepsFreedMemory = true;
#else
constexpr bool keepsFreedMemory = false;
#endif

#pragma once

#include <cstdio>
#include <cstdlib>

/// Ends the process and prints text and place of the property when it does not hold. The fuzzer
/// takes that for a crash and keeps the input.
#define FUZZ_PROPERTY(holds, text)                                                                 \
    do {                                                                                           \
        if (!(holds)) {                                                                            \
            std::fprintf(stderr, "%s:%d: broken: %s\n", __FILE__, __LINE__, text);                 \
            std::abort();                                                                          \
        }                                                                                          \
    } while (false)

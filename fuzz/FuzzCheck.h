#pragma once

// A failed property aborts, so that libFuzzer records the input as a finding.

#include <cstdio>
#include <cstdlib>

#define FUZZ_CHECK(condition)                                                         \
    do {                                                                              \
        if (!(condition)) {                                                           \
            std::fprintf(stderr, "FUZZ_CHECK failed: %s (%s:%d)\n", #condition,       \
                         __FILE__, __LINE__);                                         \
            std::abort();                                                             \
        }                                                                             \
    } while (0)

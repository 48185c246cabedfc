#pragma once

// Shared by the fuzz targets: the property check and the input taken as text.

#include <text/CString.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

// A failed property aborts, so that libFuzzer records the input as a finding.
#define FUZZ_CHECK(condition)                                                                                          \
    do {                                                                                                               \
        if (!(condition)) {                                                                                            \
            std::fprintf(stderr, "FUZZ_CHECK failed: %s (%s:%d)\n", #condition, __FILE__, __LINE__);                   \
            std::abort();                                                                                              \
        }                                                                                                              \
    } while (0)

// The input's bytes as UTF-16 units (an odd last byte is dropped), embedded
// zeros included in the count.
inline Trell::CString fuzzInputAsText(const uint8_t* data, size_t size)
{
    std::vector<char16_t> units(size / 2 + 1, 0);
    if (size >= 2)
        std::memcpy(units.data(), data, size / 2 * 2);
    return Trell::CString(units.data(), unsigned(size / 2));
}

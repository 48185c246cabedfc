#pragma once

// 16-byte block loads for the vector scans over texts (the string routines
// and the XML reader and writer); private to the library.
//
// Why a scan may read past the end of its text: a zero-terminated text does
// not say where it ends, so a scan loads whole blocks and looks for the
// terminator (or its stop units) inside them; the block holding the end may
// reach past the buffer. That read cannot fault as long as the block lies in
// one page, because memory is mapped in whole pages: a page holding the first
// byte is mapped to its last byte. 4096 bytes is the smallest page of every
// target. No result depends on the bytes past the end: a scan stops at the
// first stop lane, and lanes beyond a counted length are masked off. The
// address and thread sanitizers cannot know that, so the loading functions
// are exempt from them.

#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#define ECS_SSE2 1
#endif

#if defined(__clang__) || defined(__GNUC__)
#define ECS_NO_SANITIZE_OVERREAD __attribute__((no_sanitize_address, no_sanitize_thread))
#else
#define ECS_NO_SANITIZE_OVERREAD
#endif

namespace Trell {
namespace BlockScan {

#if ECS_SSE2
constexpr std::uintptr_t PAGE_BYTES = 4096;
constexpr std::uintptr_t BLOCK_BYTES = 16;
// Units of a text in one block.
constexpr unsigned int BLOCK_UNITS = BLOCK_BYTES / sizeof(char16_t);

// A block loaded at `p` lies inside p's page, so it cannot fault.
inline bool blockStaysInPage(const void* p)
{
    return (reinterpret_cast<std::uintptr_t>(p) & (PAGE_BYTES - 1)) <= PAGE_BYTES - BLOCK_BYTES;
}

// Unaligned load; the caller has checked blockStaysInPage or that the whole
// block lies inside a counted text.
ECS_NO_SANITIZE_OVERREAD inline __m128i loadBlock(const void* p)
{
    return _mm_loadu_si128(static_cast<const __m128i*>(p));
}

// Aligned load: an aligned block never crosses a page, wherever the text
// starts and ends inside it.
ECS_NO_SANITIZE_OVERREAD inline __m128i loadAlignedBlock(const void* p)
{
    return _mm_load_si128(static_cast<const __m128i*>(p));
}

// Two mask bits per 16-bit lane.
inline unsigned int maskOf(__m128i lanes)
{
    return unsigned(_mm_movemask_epi8(lanes));
}

// The lane of the lowest set bit of a non-zero mask.
inline unsigned int firstUnit(unsigned int mask)
{
    return unsigned(__builtin_ctz(mask)) / 2;
}
#endif

} // namespace BlockScan
} // namespace Trell

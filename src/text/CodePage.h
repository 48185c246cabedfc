#pragma once

// The multi-byte code page ("chs") used by CStringConverter's MBCS routines:
// GBK on every platform, from a table built into the library, so neither the
// process locale nor the C library's converters are involved. Both functions
// are thread-safe.

namespace Trell {
namespace CodePage {

// Encodes the zero-terminated `text` as GBK into `out`, at most `limit`
// bytes and never half a character. Returns the bytes written (no
// terminator), or -1 when a unit has no GBK form.
int fromUnicode(const char16_t* text, char* out, unsigned int limit);

// Decodes `count` bytes of GBK into `out` (room for `capacity` units).
// Returns the units written (no terminator), or -1 on an invalid or
// truncated byte sequence.
int toUnicode(const char* bytes, unsigned int count, char16_t* out, unsigned int capacity);

} // namespace CodePage
} // namespace Trell

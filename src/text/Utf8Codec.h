#pragma once

// Private UTF-8 <-> UTF-16 kernels behind CStringConverter. They keep the
// library's lenient rules (unpaired surrogates, unchecked continuation bytes)
// and have vectorised ASCII paths; the public routines add the null checks.

namespace Trell {
namespace Utf8Codec {

// Encodes the zero-terminated `text` into `out`, writing only whole
// sequences while they fit in `limit` bytes. Returns the bytes written; no
// terminator is written.
unsigned int encode(const char16_t* text, unsigned char* out, unsigned int limit);

// Decodes `count` bytes (none of them zero; bytes[count] is the terminator)
// into `out`, which has room for `count` units. Returns the units written.
unsigned int decode(const unsigned char* bytes, unsigned int count, char16_t* out);

} // namespace Utf8Codec
} // namespace Trell

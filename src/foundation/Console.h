#pragma once

// The library's console output: the memory manager's warnings and
// CStringConverter::printf both end here.
//
// Text goes to standard output in the stream's orientation: a host that has
// printed wide text (wprintf) has made stdout wide-oriented, and byte writes
// to such a stream fail silently, so wide text is written to it instead;
// otherwise UTF-8 bytes. Every call flushes, so that library lines keep their
// order with the host's own output. Nothing here allocates: it reports the
// allocator's own failures, where a nested allocation could fail again.
// Any thread may call these; each call is one write of the C runtime's
// stream functions, which lock the stream.

#include <cstddef>

namespace Trell {
namespace Console {

// UTF-16 text of `length` units. A surrogate pair is one character (one
// four-byte UTF-8 sequence); an unpaired surrogate becomes U+FFFD.
void writeUtf16(const char16_t* text, std::size_t length) noexcept;
// UTF-8 text of `length` bytes (the warnings, formatted with printf).
void writeUtf8(const char* text, std::size_t length) noexcept;
// printf-style UTF-8 text, cut at 511 bytes.
#if defined(__MINGW32__)
// mingw's printf archetype is the Microsoft one; this formats as C99 does.
void printf(const char* format, ...) noexcept __attribute__((format(gnu_printf, 1, 2)));
#else
void printf(const char* format, ...) noexcept __attribute__((format(printf, 1, 2)));
#endif

// Appends the UTF-8 form of the zero-terminated UTF-16 `text` to `out`
// (capacity `size` including the terminator, `length` bytes used); returns
// the new length. Text that does not fit is cut at a character boundary.
std::size_t appendUtf8(char* out, std::size_t size, std::size_t length, const char16_t* text) noexcept;

} // namespace Console
} // namespace Trell

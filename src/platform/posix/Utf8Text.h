#pragma once

// Strict UTF-16 <-> UTF-8 for text that leaves the process whole (command
// lines, the clipboard): unlike the library's lenient converter, surrogate
// pairs become one 4-byte sequence and 4-byte sequences one pair, so
// characters outside the Basic Multilingual Plane survive the trip.

#include <cstddef>
#include <string>

namespace Trell {
namespace Utf8Text {

// An unpaired surrogate becomes U+FFFD.
std::string encode(const char16_t* pszText, std::size_t uiLength);
inline std::string encode(const std::u16string& strText)
{
    return encode(strText.data(), strText.size());
}

// Each byte that starts no valid sequence becomes U+FFFD (overlong forms,
// encoded surrogates and values above U+10FFFF are invalid). With
// bDropCutTail, a sequence cut off by the end of the bytes is left out
// rather than replaced: the bytes were a prefix of a longer text.
std::u16string decode(const char* pBytes, std::size_t uiCount, bool bDropCutTail = false);

} // namespace Utf8Text
} // namespace Trell

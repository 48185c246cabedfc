#pragma once

// Library text is UTF-16 in char16_t; the wide Windows API takes UTF-16 in
// wchar_t, which is 16 bits here. The two layouts agree, so a cast is the
// whole conversion: no copy is made either way.

#include <text/CString.h>

namespace Trell {
namespace WideText {

static_assert(sizeof(wchar_t) == sizeof(char16_t), "the wide API must take 16-bit units");

inline const wchar_t* toWide(const char16_t* psz)
{
    return reinterpret_cast<const wchar_t*>(psz);
}

inline wchar_t* toWide(char16_t* psz)
{
    return reinterpret_cast<wchar_t*>(psz);
}

inline const char16_t* fromWide(const wchar_t* psz)
{
    return reinterpret_cast<const char16_t*>(psz);
}

// A terminated wide string for a path or name: a null CString gives "".
inline const wchar_t* toWide(const CString& str)
{
    return toWide(str.buffer() ? str.buffer() : u"");
}

} // namespace WideText
} // namespace Trell

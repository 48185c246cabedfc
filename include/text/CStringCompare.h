#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <text/CString.h>
#include <text/CStringCore.h>

namespace Trell {

// Three-way comparison records for containers keyed by CString. Each returns
// a negative number, 0 or a positive number as `a` orders before, with or
// after `b`. CString.h includes this header, so a string key comes with them.

// Case-sensitive, by UTF-16 code unit; a null string equals the empty string.
struct ECS_API tagStringCompare
{
    TRELL_DECLARE_ALLOCATOR(u"tagStringCompare")

    // Inline: maps keyed by text call it on every step of every lookup.
    int operator()(const CString& a, const CString& b) const { return CStringCore::strcmp(a.buffer(), b.buffer()); }
};

// Ignores the case of 'A'..'Z' only.
struct ECS_API tagStringCompareIC
{
    TRELL_DECLARE_ALLOCATOR(u"tagStringCompareIC")

    int operator()(const CString& a, const CString& b) const;
};

// Compares from the last characters backwards, so texts sharing a suffix sort together.
struct ECS_API tagStringReverseCompare
{
    TRELL_DECLARE_ALLOCATOR(u"tagStringReverseCompare")

    int operator()(const CString& a, const CString& b) const;
};

struct ECS_API tagStringReverseCompareIC
{
    TRELL_DECLARE_ALLOCATOR(u"tagStringReverseCompareIC")

    int operator()(const CString& a, const CString& b) const;
};

} // namespace Trell

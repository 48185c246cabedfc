#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <text/CString.h>
#include <text/CStringCore.h>

#include <functional>

namespace Trell {

// Three-way comparison records for the ordered containers. Each returns a
// negative number, 0 or a positive number as `a` orders before, with or after `b`.

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

// Deliberately orders by address, not by content: two buffers holding the
// same text are two different keys. Callers key maps by buffer identity.
struct ECS_API tagCharPtrCompare
{
    TRELL_DECLARE_ALLOCATOR(u"tagCharPtrCompare")

    int operator()(const char* a, const char* b) const
    {
        if (a == b)
            return 0;
        return std::less<const char*>()(a, b) ? -1 : 1;
    }
};

// Orders numbers (or anything with operator<) by value.
template <class T>
struct tagNumCompare
{
    TRELL_DECLARE_ALLOCATOR(u"tagNumCompare")

    int operator()(const T& a, const T& b) const
    {
        if (a < b)
            return -1;
        return b < a ? 1 : 0;
    }
};

} // namespace Trell

#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

#include <functional>

namespace Trell {

// Three-way comparison records for the ordered containers. Each returns a
// negative number, 0 or a positive number as `a` orders before, with or after `b`.
// The records for CString keys live with the string, in text/CStringCompare.h.

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

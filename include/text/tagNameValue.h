#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <text/CString.h>

namespace Trell {

// A name and its value as text (one attribute, one setting). It lives with
// the text family rather than the foundation because it holds strings.
struct ECS_API tagNameValue
{
    TRELL_DECLARE_ALLOCATOR(u"tagNameValue")

    CString name;
    CString value;

    bool operator==(const tagNameValue& other) const { return name == other.name && value == other.value; }
    bool operator!=(const tagNameValue& other) const { return !(*this == other); }
};

} // namespace Trell

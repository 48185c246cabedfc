#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

// An inclusive range of integer values, e.g. the values for which one state
// of a gauge or one picture of a sequence shows. Empty when `from` > `to`.
struct ECS_API tagValueSection
{
    TRELL_DECLARE_ALLOCATOR(u"tagValueSection")

    int from;
    int to;

    bool contains(int value) const { return from <= value && value <= to; }
};

} // namespace Trell

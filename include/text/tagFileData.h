#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <text/CString.h>

namespace Trell {

// A file's contents in memory with the path they came from or go to. The
// record does not own `data`. It lives with the text family rather than the
// foundation because it holds a string.
struct ECS_API tagFileData
{
    TRELL_DECLARE_ALLOCATOR(u"tagFileData")

    CString path;
    unsigned char* data;
    unsigned int size;
};

} // namespace Trell

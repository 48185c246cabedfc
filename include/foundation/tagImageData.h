#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

// Decoded pixels as they are handed between loader and surface: `height`
// rows of `pitch` bytes each, `width` pixels of `bytesPerPixel` bytes used
// per row. The record does not own `data`.
struct ECS_API tagImageData
{
    TRELL_DECLARE_ALLOCATOR(u"tagImageData")

    unsigned int width;
    unsigned int height;
    unsigned int bytesPerPixel;
    unsigned int pitch;
    unsigned char* data;

    // Bytes the pixels take: pitch times height.
    unsigned long long getByteCount() const { return static_cast<unsigned long long>(pitch) * height; }
};

} // namespace Trell

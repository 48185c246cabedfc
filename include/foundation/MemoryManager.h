#pragma once

// The memory manager: CMemory front-end, the manager, its pooled allocator,
// the checker of checking mode and the listener interface.
#include <foundation/CMemAllocator.h>
#include <foundation/CMemChecker.h>
#include <foundation/CMemManager.h>
#include <foundation/CMemory.h>
#include <foundation/IMemManagerListener.h>

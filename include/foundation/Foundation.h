#pragma once

// Foundation family: object model, memory manager and containers.
#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/CObjectPoolRef.h>
#include <foundation/CObjectFactory.h>
#include <foundation/CObjectPtr.h>
#include <foundation/Containers.h>
#include <foundation/Export.h>
#include <foundation/MemoryManager.h>

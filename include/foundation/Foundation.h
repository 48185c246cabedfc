#pragma once

// Foundation family: object model, memory manager, containers and the
// singleton rule.
#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/CObjectPoolRef.h>
#include <foundation/CObjectPtr.h>
#include <foundation/CSingleton.h>
#include <foundation/Containers.h>
#include <foundation/Export.h>
#include <foundation/MemoryManager.h>

#pragma once

// Foundation family: object model, memory manager, containers, the
// singleton rule, the byte buffer, the variant and the plain records.
#include <foundation/CByteBuffer.h>
#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/CObjectPoolRef.h>
#include <foundation/CObjectPtr.h>
#include <foundation/CSingleton.h>
#include <foundation/CVariant.h>
#include <foundation/Containers.h>
#include <foundation/Export.h>
#include <foundation/MemoryManager.h>
#include <foundation/tagImageData.h>
#include <foundation/tagValueSection.h>

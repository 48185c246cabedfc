list(APPEND ECS_HEADERS
    include/foundation/CMemory.h
    include/foundation/MemoryManager.h
)
list(APPEND ECS_SOURCES
    src/foundation/CMemory.cpp
)

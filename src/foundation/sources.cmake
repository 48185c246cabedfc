list(APPEND ECS_HEADERS
    include/foundation/Export.h
    include/foundation/Foundation.h
    include/foundation/CMemory.h
    include/foundation/CObject.h
    include/foundation/CObjectPoolRef.h
    include/foundation/CObjectPtr.h
)
list(APPEND ECS_SOURCES
    src/foundation/CMemory.cpp
    src/foundation/CObject.cpp
)

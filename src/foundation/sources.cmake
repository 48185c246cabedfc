list(APPEND ECS_HEADERS
    include/foundation/Export.h
    include/foundation/Foundation.h
    include/foundation/CObject.h
    include/foundation/CObjectPoolRef.h
    include/foundation/CObjectPtr.h
    include/foundation/CSingleton.h
    include/foundation/CByteBuffer.h
    include/foundation/CVariant.h
    include/foundation/tagValueSection.h
    include/foundation/tagImageData.h
)
list(APPEND ECS_SOURCES
    src/foundation/CObject.cpp
    src/foundation/CByteBuffer.cpp
    src/foundation/CVariant.cpp
    src/foundation/EngineLog.h
    src/foundation/EngineLog.cpp
)
include(src/foundation/containers.cmake)
include(src/foundation/memory.cmake)

list(APPEND ECS_HEADERS
    include/system/System.h
    include/system/CPath.h
    include/system/CFile.h
    include/system/CFolder.h
    include/system/CTime.h
    include/system/CTimeSpan.h
    include/system/CLibraryLoader.h
    include/system/CSystem.h
)
list(APPEND ECS_SOURCES
    src/system/CPath.cpp
    src/system/CFile.cpp
    src/system/CFolder.cpp
    src/system/CTime.cpp
    src/system/CLibraryLoader.cpp
    src/system/CSystem.cpp
)
include(src/system/log.cmake OPTIONAL)
